// XPath expressions generated from the XPath 1.0 grammar. The input bytes steer a generator of a
// context path and a path (every axis with every kind of node test, prefixed and `*` name tests,
// the core functions and those the library refuses with every number of arguments, operators,
// predicates, unions, variables, and long or deep forms such as hundreds of alternatives). Each
// pair is asked of a few documents (namespace declarations default and prefixed, comments,
// processing instructions, and one without an element) through the cached evaluation and the
// straightforward one; results, flags and thrown XPath exceptions must agree. Any other exception,
// a failure without the warning, or a crash is a finding too. At the document node ("/" or "."), a
// query fails on the document without an element exactly when it fails on a plain one, since the
// document node is there in both and neither declares a prefix.
#include "transdomimpl.h"
#include "transdomreference.h"
#include "transspace.h"
#include "xmlfilereader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <string>
#include <unicode/unistr.h>
#include <vector>
#include <xalanc/PlatformSupport/XSLException.hpp>

namespace {

char const namespacedXml[] = R"(<?xml version="1.0"?>
<!--before--><?top data?>
<root xmlns="urn:d" xmlns:p="urn:p" n="r" xml:lang="en" p:a="pa">
  <item n="1">one</item><p:item n="2">two<!--c1--></p:item>
  <inner xmlns:p="urn:inner" xmlns:q="urn:q"><p:thing p:id="7" id="i7">t<?pi x y?></p:thing></inner>
  <only xmlns:o="urn:o" xmlns="urn:only"/><leaf xmlns="" v="3.5" xml:lang="de-AT"/>
  <mixed xmlns:p="urn:p" xmlns="urn:d" n="m" p:b="2" xmlns:z="urn:z"/><last a="1" xmlns:y="urn:y"/>
  tail &#x20AC;<!--end--><?pi last?>
</root><!--after-->)";
// A CDATA section: queries on this one run on the bridged view in both routes.
char const cdataXml[] = R"(<c xmlns:p="urn:p" n="1"><![CDATA[<x>]]><p:i p:n="2"/>text</c>)";
char const plainXml[] =
    R"(<r a="1" b="x"><!--c--><?pi d?><s>text</s><s/>1.5<t lang="en">2</t></r>)";

// The XML libraries stay up for the whole run; the documents are made once.
struct Documents {
    TransSpace space;
    TransDOMImpl namespaced{readXmlText(namespacedXml, "namespaced.xml").get()};
    TransDOMImpl cdata{readXmlText(cdataXml, "cdata.xml").get()};
    TransDOMImpl plain{readXmlText(plainXml, "plain.xml").get()};
    TransDOMImpl empty{static_cast<xercesc::DOMDocument const*>(nullptr)};
};

constexpr std::array<char const*, 13> axes = {
    "ancestor",  "ancestor-or-self",  "attribute", "child",  "descendant", "descendant-or-self",
    "following", "following-sibling", "namespace", "parent", "preceding",  "preceding-sibling",
    "self"};
constexpr std::array<char const*, 15> names = {"root", "item",  "inner", "thing", "only",
                                               "leaf", "mixed", "r",     "s",     "n",
                                               "id",   "a",     "lang",  "pi",    "xmlns"};
constexpr std::array<char const*, 7> prefixes = {"p", "o", "q", "d", "xml", "xmlns", "undeclared"};
constexpr std::array<char const*, 10> literals = {
    "''", "'a'", "'1'", "' 1.5 '", "\"x'y\"", "'en'", "'urn:p'", "'pi'", "'\xC3\xA9'", "'i7 7'"};
constexpr std::array<char const*, 9> numbers = {
    "0", "1", "2", "1.5", ".5", "3.", "1000000", "0.1", "12345678901234567890"};
constexpr std::array<char const*, 14> operators = {
    " or ", " and ", "=", "!=", "<", "<=", ">", ">=", "+", "-", "*", " div ", " mod ", "|"};
struct Function {
    char const* name;
    int least, most; // the number of arguments it takes; most -1 for any
};
constexpr std::array<Function, 38> functions = {{
    {"last", 0, 0},
    {"position", 0, 0},
    {"count", 1, 1},
    {"id", 1, 1},
    {"local-name", 0, 1},
    {"namespace-uri", 0, 1},
    {"name", 0, 1},
    {"string", 0, 1},
    {"concat", 2, -1},
    {"starts-with", 2, 2},
    {"contains", 2, 2},
    {"substring-before", 2, 2},
    {"substring-after", 2, 2},
    {"substring", 2, 3},
    {"string-length", 0, 1},
    {"normalize-space", 0, 1},
    {"translate", 3, 3},
    {"boolean", 1, 1},
    {"not", 1, 1},
    {"true", 0, 0},
    {"false", 0, 0},
    {"lang", 1, 1},
    {"number", 0, 1},
    {"sum", 1, 1},
    {"floor", 1, 1},
    {"ceiling", 1, 1},
    {"round", 1, 1},
    {"current", 0, 0},
    {"key", 2, 2},
    {"document", 1, 2},
    {"format-number", 2, 3},
    {"generate-id", 0, 1},
    {"system-property", 1, 1},
    {"unparsed-entity-uri", 1, 1},
    {"element-available", 1, 1},
    {"function-available", 1, 1},
    {"unknown-function", 0, 1},
    {"p:function", 0, 1},
}};
// How often a long form repeats its part: a few, and the lengths of real long queries.
constexpr std::array<std::size_t, 7> repeats = {2, 3, 20, 500, 1001, 2000, 5000};
// The most characters a long form takes.
constexpr std::size_t longFormLength = 64 * 1024;
// How deep a nested form goes.
constexpr std::array<std::size_t, 5> depths = {2, 10, 50, 100, 200};

class Generator {
public:
    explicit Generator(FuzzedDataProvider& input) : input_(input) {}

    // The parts of a form are generated left to right (each statement its own), so that an input
    // gives the same expression with any compiler.
    template <typename Array>
    auto const& choose(Array const& array) {
        return array[input_.ConsumeIntegralInRange<std::size_t>(0, array.size() - 1)];
    }

    std::string expression(int depth) {
        if (depth <= 0 || --budget_ <= 0) {
            return leaf();
        }
        switch (input_.ConsumeIntegralInRange(0, 11)) {
        case 0: {
            std::string text = expression(depth - 1);
            text += choose(operators);
            return text + expression(depth - 1);
        }
        case 1:
            return "-" + expression(depth - 1);
        case 2:
        case 3:
            return path(depth - 1);
        case 4: {
            std::string text = "(" + expression(depth - 1) + ")";
            text += predicates(depth - 1);
            return text + tail(depth - 1);
        }
        case 5:
            return call(depth - 1);
        case 6:
            return heavyAllowed(depth) ? longForm() : leaf();
        case 7:
            return heavyAllowed(depth) ? deepForm() : leaf();
        case 8:
            return input_.ConsumeBool() ? "$v" : "$p:v";
        default:
            return leaf();
        }
    }

    std::string path(int depth) {
        switch (input_.ConsumeIntegralInRange(0, 3)) {
        case 0:
            return "/";
        case 1:
            return "/" + relative(depth);
        case 2:
            return "//" + relative(depth);
        default:
            return relative(depth);
        }
    }

private:
    // One long or deep form per expression, near its top: inside nested predicates its cost
    // multiplies with the nodes each level visits.
    bool heavyAllowed(int depth) noexcept { return depth >= 5 && heavy_++ == 0; }

    std::string leaf() {
        switch (input_.ConsumeIntegralInRange(0, 2)) {
        case 0:
            return choose(literals);
        case 1:
            return choose(numbers);
        default:
            return step(0);
        }
    }

    std::string relative(int depth) {
        std::string text = step(depth);
        for (int steps = input_.ConsumeIntegralInRange(0, 3); steps > 0; --steps) {
            text += input_.ConsumeBool() ? "/" : "//";
            text += step(depth);
        }
        return text;
    }

    std::string tail(int depth) { return input_.ConsumeBool() ? "" : "/" + relative(depth); }

    std::string step(int depth) {
        switch (input_.ConsumeIntegralInRange(0, 5)) {
        case 0:
            return ".";
        case 1:
            return "..";
        case 2: {
            std::string const test = "@" + nodeTest();
            return test + predicates(depth);
        }
        default: {
            std::string text = choose(axes);
            text += "::" + nodeTest();
            return text + predicates(depth);
        }
        }
    }

    std::string nodeTest() {
        switch (input_.ConsumeIntegralInRange(0, 8)) {
        case 0:
            return "*";
        case 1:
            return std::string(choose(prefixes)) + ":*";
        case 2: {
            std::string const prefix = choose(prefixes);
            return prefix + ":" + choose(names);
        }
        case 3:
            return "node()";
        case 4:
            return "text()";
        case 5:
            return "comment()";
        case 6:
            return input_.ConsumeBool() ? "processing-instruction()"
                                        : "processing-instruction('pi')";
        default:
            return choose(names);
        }
    }

    std::string predicates(int depth) {
        std::string text;
        for (int count = input_.ConsumeIntegralInRange(0, 2); count > 0 && depth > 0; --count) {
            text += "[" + expression(depth - 1) + "]";
        }
        return text;
    }

    // A call with the number of arguments the function takes, or one fewer or more.
    std::string call(int depth) {
        Function const& function = choose(functions);
        int const most = function.most < 0 ? function.least + 3 : function.most;
        int const count =
            input_.ConsumeIntegralInRange(function.least > 0 ? function.least - 1 : 0, most + 1);
        std::string text = std::string(function.name) + "(";
        for (int i = 0; i < count; ++i) {
            text += (i == 0 ? "" : ", ") + expression(depth);
        }
        return text + ")";
    }

    // One or two small parts repeated, joined by an operator: "a or b or a or ...".
    std::string longForm() {
        std::string const first = expression(1);
        std::string const second = input_.ConsumeBool() ? first : expression(1);
        char const* const join = choose(operators);
        // Within a length, since compiling a chain of operators takes time quadratic in its
        // length: thousands of short parts, hundreds of long ones.
        std::size_t const part = std::max(first.size(), second.size()) + std::strlen(join);
        std::size_t const count =
            std::max<std::size_t>(2, std::min(choose(repeats), longFormLength / part));
        std::string text = first;
        for (std::size_t i = 1; i < count; ++i) {
            text += join + (i % 2 == 0 ? first : second);
        }
        return input_.ConsumeBool() ? text : "//*[" + text + "]";
    }

    // A small part nested in brackets, predicates or calls.
    std::string deepForm() {
        std::size_t const count = choose(depths);
        std::string const inner = expression(1);
        std::string open, close;
        switch (input_.ConsumeIntegralInRange(0, 3)) {
        case 0:
            open = "(", close = ")";
            break;
        case 1:
            open = "*[", close = "]";
            break;
        case 2:
            open = "not(", close = ")";
            break;
        default:
            open = "concat('a', ", close = ")";
            break;
        }
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += open;
        }
        text += inner;
        for (std::size_t i = 0; i < count; ++i) {
            text += close;
        }
        return text;
    }

    FuzzedDataProvider& input_;
    int budget_ = 60; // parts generated before only leaves follow
    int heavy_ = 0;   // long or deep forms generated
};

// Context paths: the document node, elements, an attribute, a namespace node, other node kinds,
// nothing, a number, and a generated one.
constexpr std::array<char const*, 14> contexts = {"/",
                                                  ".",
                                                  "/*",
                                                  "//*[2]",
                                                  "//@*[1]",
                                                  "//namespace::*[1]",
                                                  "//comment()",
                                                  "//processing-instruction()",
                                                  "//text()[1]",
                                                  "/*/*[last()]",
                                                  "//*[local-name()='only']",
                                                  "//*[local-name()='mixed']",
                                                  "/nothing",
                                                  "1+1"};

struct Answer {
    std::u16string string;
    std::vector<std::u16string> list;
    double number = 0;
    std::string flags; // of the three queries, two letters each
    bool thrown = false;

    bool operator==(Answer const& other) const {
        bool const sameNumber =
            number == other.number || (std::isnan(number) && std::isnan(other.number));
        return string == other.string && list == other.list && sameNumber && flags == other.flags &&
               thrown == other.thrown;
    }
    bool failed() const { return flags.find('F') != std::string::npos; }
};

void note(TransStatus const& status, Answer& answer) {
    if (status.failure() && ! status.warning()) {
        std::fprintf(stderr, "failure without the warning\n");
        std::abort();
    }
    answer.flags += status.failure() ? 'F' : '-';
    answer.flags += status.warning() ? 'W' : '-';
}

// The three queries by one route; an XPath exception from the context path is an answer too.
template <typename Route>
Answer ask(TransDOMImpl const& value, TransString const& context, TransString const& path) {
    Answer answer;
    try {
        TransStatus status;
        std::unique_ptr<TransString> const text(Route::asString(value, context, path, status));
        answer.string = text->asUTF16();
        note(status, answer);
        std::unique_ptr<TransStringList> const list(
            Route::asStringList(value, context, path, status));
        for (unsigned long i = 0; i < list->size(); ++i) {
            answer.list.emplace_back(list->asUTF16(i));
        }
        note(status, answer);
        answer.number = Route::asDouble(value, context, path, status);
        note(status, answer);
    } catch (xalanc::XSLException const&) {
        answer.thrown = true;
    }
    return answer;
}

struct Cached {
    static TransString* asString(TransDOMImpl const& value, TransString const& context,
                                 TransString const& path, TransStatus& status) {
        return value.asString(context, path, status);
    }
    static TransStringList* asStringList(TransDOMImpl const& value, TransString const& context,
                                         TransString const& path, TransStatus& status) {
        return value.asStringList(context, path, status);
    }
    static double asDouble(TransDOMImpl const& value, TransString const& context,
                           TransString const& path, TransStatus& status) {
        return value.asDouble(context, path, status);
    }
};

std::string narrow(std::u16string const& text) {
    std::string result;
    icu::UnicodeString(false, text.data(), static_cast<int32_t>(text.size())).toUTF8String(result);
    return result;
}

[[noreturn]] void differ(char const* what, std::string const& context, std::string const& path,
                         Answer const& first, Answer const& second) {
    std::fprintf(stderr, "%s\ncontext: %s\npath: %.2000s\n", what, context.c_str(), path.c_str());
    for (Answer const* answer : {&first, &second}) {
        std::fprintf(stderr, "  \"%s\" list of %zu%s%s number %g flags %s%s\n",
                     narrow(answer->string).c_str(), answer->list.size(),
                     answer->list.empty() ? "" : ", first ",
                     answer->list.empty() ? "" : narrow(answer->list.front()).c_str(),
                     answer->number, answer->flags.c_str(), answer->thrown ? " thrown" : "");
    }
    std::abort();
}

TransString utf16(std::string const& utf8) {
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
    return TransString(text.getTerminatedBuffer());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Documents const* const documents = new Documents; // never destroyed
    FuzzedDataProvider input(data, size);
    Generator generator(input);
    std::string const context =
        input.ConsumeIntegralInRange(0, 3) == 0
            ? generator.path(3)
            : contexts[input.ConsumeIntegralInRange<std::size_t>(0, contexts.size() - 1)];
    std::string const path = generator.expression(6);
    TransString const contextText = utf16(context);
    TransString const pathText = utf16(path);

    std::array<Answer, 4> cached;
    std::size_t index = 0;
    for (TransDOMImpl const* value :
         {&documents->namespaced, &documents->cdata, &documents->plain, &documents->empty}) {
        cached[index] = ask<Cached>(*value, contextText, pathText);
        Answer const reference = ask<TransDOMImplReference>(*value, contextText, pathText);
        if (! (cached[index] == reference)) {
            differ("cached and straightforward evaluation differ", context, path, cached[index],
                   reference);
        }
        ++index;
    }
    // At the document node both documents fail alike, unless a part of the path runs only for
    // some nodes (a predicate) or only for some values (the right side of "or" and "and"): an
    // error there shows only where that part runs.
    bool const atDocumentNode = context == "/" || context == ".";
    bool const runsWhole = path.find('[') == std::string::npos &&
                           path.find(" or ") == std::string::npos &&
                           path.find(" and ") == std::string::npos;
    if (atDocumentNode && runsWhole &&
        (cached[2].failed() != cached[3].failed() || cached[2].thrown != cached[3].thrown)) {
        differ("the document without an element fails otherwise than a plain one", context, path,
               cached[2], cached[3]);
    }
    return 0;
}
