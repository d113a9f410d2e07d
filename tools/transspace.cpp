// transspace: builds dictionary documents from data-source files, validates and queries documents,
// for people who debug the library and the data it is given.
#include "transspace.h"
#include "schemavalidator.h"
#include "transdictionaryimpl.h"
#include "transdomadoption.h"
#include "transdomimpl.h"
#include "transdomlinks.h"
#include "transversion.h"
#include "transxerces.h"
#include "xmlfilereader.h"
#include "zeltdatasourcefile.h"
#include "zeltplatform.h"

#include "transxmlchararray.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <xalanc/PlatformSupport/XSLException.hpp>
#include <xalanc/XPath/XPathParserException.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLUni.hpp>

extern char const exampleSurveyJson[];
extern std::size_t const exampleSurveyJson_size;

namespace {

constexpr int exitClean = 0;
constexpr int exitWarning = 1;
constexpr int exitFailure = 2;

char const* const commonHelp =
    R"usage(usage: transspace [--utf8-mode on|off] [--code-page NAME] [-o FILE] COMMAND ...
       transspace COMMAND --help | -h, --help | -V, --version

Commands:
)usage";

char const* const dictHelp =
    R"usage(  dict [--validate] [--utf16 | --pretty] [-o FILE] (FILE.json | - | --example)
      Builds the dictionary document of a data source and writes its XML text: in the process
      code page, as UTF-16 bytes with --utf16, or indented UTF-8 for reading with --pretty.
      --validate first validates the text against the built-in dictionary-1.0.xsd and writes
      nothing when it is not valid.
)usage";

char const* const validateHelp =
    R"usage(  validate [-o FILE] (FILE.xml | -)
      Validates a dictionary file against the built-in dictionary-1.0.xsd (nothing is fetched;
      any other schema, DTD or external entity is refused) and prints each error on standard
      error as FILE:LINE:COLUMN: message.
)usage";

char const* const queryHelp =
    R"usage(  query [--list | --double] [-N PREFIX=URI]... [-o FILE] (FILE.json | FILE.xml | - | --example)
        CONTEXT PATH
      Evaluates CONTEXT at the document node, PATH at the node it selects, and prints the string,
      every list entry on its own line (--list), or the number (--double: the shortest text that
      reads back to the same double, with an exponent only below 1e-6 or from 1e21 on). A file
      that dict wrote is read as the same document as its data source, so the same CONTEXT and
      PATH give the same answer. -N, --namespace PREFIX=URI binds a prefix for the paths
      (repeatable). Why a query failed is said on standard error.
)usage";

char const* const closingHelp = R"usage(
Options:
  --utf8-mode on|off   multibyte text is UTF-8 (on, the default) or in the code page
  --code-page NAME     the code page when UTF-8 mode is off (default: the locale's)
  -o, --output FILE    write to FILE, replaced only when everything was written
  --name=value is the same as --name value; -- ends the options; - reads standard input (JSON or
  XML, told apart by the first byte that is not blank).

The locale comes from LANG and LC_*. --example uses a built-in survey.

Examples:
  transspace dict --pretty --example
  transspace dict -o survey.xml survey.json
  transspace validate survey.xml
  transspace query --example "/dictionary/variable[@name='age']" "attribute::label"
  transspace query --list --example "/dictionary/valueLabelSet[valueLabelVariable/@name='gender']" "valueLabel/@label"
  transspace query --double survey.xml "/dictionary" "count(variable)"
  transspace query -N d=urn:other other.xml /d:doc d:item
  transspace --utf8-mode off --code-page ISO-8859-1 dict --example

Exit status: 0 a clean answer or a valid document, 1 the warning flag alone (the answer is still
printed), 2 failure (the query's failure flag, a document that is not valid, a usage error, an
input that cannot be read or is invalid, or output that cannot be written).
)usage";

struct UsageError {
    std::string message;
};

// Output that cannot be written; the system's reason.
struct OutputError {
    std::string reason;
};

// An error in a query's context path, taken out of the evaluator's exception while the XML
// libraries are still up (the exception's text lives in their memory).
struct ContextPathError {
    std::string message;
};

// ------------------------------------------------------------------------------------------------
// Arguments

// Walks arguments: options ("-x", "--name", "--name=value") until "--", and operands ("-" is one).
class Arguments {
public:
    Arguments(std::vector<std::string>::const_iterator begin,
              std::vector<std::string>::const_iterator end)
        : rest_(begin, end) {}

    // Moves to the next argument; false at the end.
    bool next() {
        if (next_ >= rest_.size()) {
            return false;
        }
        current_ = rest_[next_++];
        option_ = ! optionsEnded_ && current_.size() > 1 && current_[0] == '-';
        if (option_ && current_ == "--") {
            optionsEnded_ = true;
            return next();
        }
        std::size_t const equals = current_.find('=');
        inlineValue_.reset();
        if (option_ && current_.rfind("--", 0) == 0 && equals != std::string::npos) {
            inlineValue_ = current_.substr(equals + 1);
            current_.erase(equals);
        }
        return true;
    }

    bool isOption() const noexcept { return option_; }
    std::string const& current() const noexcept { return current_; }
    // The current option is one of the names; a flag given "=value" is a usage error.
    bool flag(std::initializer_list<char const*> names) const {
        bool const named = is(names);
        if (named && inlineValue_) {
            throw UsageError{current_ + " takes no value"};
        }
        return named;
    }
    // The current option is one of the names and takes a value.
    bool is(std::initializer_list<char const*> names) const {
        return option_ && std::any_of(names.begin(), names.end(),
                                      [&](char const* name) { return current_ == name; });
    }
    // The value of the current option: after "=", or the next argument.
    std::string value() {
        if (inlineValue_) {
            return *inlineValue_;
        }
        if (next_ >= rest_.size()) {
            throw UsageError{current_ + " needs a value"};
        }
        return rest_[next_++];
    }
    // The arguments not yet walked.
    std::vector<std::string> remaining() const {
        return std::vector<std::string>(rest_.begin() + static_cast<long>(next_), rest_.end());
    }

private:
    std::vector<std::string> rest_;
    std::size_t next_ = 0;
    std::string current_;
    std::optional<std::string> inlineValue_;
    bool option_ = false;
    bool optionsEnded_ = false;
};

// ------------------------------------------------------------------------------------------------
// Output

std::string systemReason(int error) {
    return std::strerror(error);
}

// Where results go: standard output, or a file that is written under a temporary name beside it
// and renamed when everything was written, so that a failed run never leaves a truncated file.
class Output {
public:
    Output() = default;
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;
    ~Output() {
        if (file_ != stdout) {
            std::fclose(file_);
            if (! direct_) {
                std::remove(temporary_.c_str());
            }
        }
    }

    // Sends the output to the file at `path` ("-": standard output).
    void open(std::string const& path) {
        if (path == "-") {
            return;
        }
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0 && ! S_ISREG(status.st_mode)) {
            // A device or a pipe is written to directly: it cannot be replaced.
            file_ = std::fopen(path.c_str(), "wb");
            if (file_ == nullptr) {
                file_ = stdout;
                throw OutputError{path + ": " + systemReason(errno)};
            }
            direct_ = true;
            return;
        }
        temporary_ = path + ".XXXXXX";
        int const descriptor = ::mkstemp(temporary_.data());
        if (descriptor < 0) {
            throw OutputError{path + ": " + systemReason(errno)};
        }
        file_ = ::fdopen(descriptor, "wb");
        if (file_ == nullptr) {
            int const error = errno;
            ::close(descriptor);
            std::remove(temporary_.c_str());
            throw OutputError{systemReason(error)};
        }
        path_ = path;
    }

    void write(std::string_view bytes) {
        if (bytes.empty()) {
            return; // an empty view may hold no pointer at all
        }
        if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) {
            throw OutputError{systemReason(errno)};
        }
    }
    void line(std::string_view text) {
        write(text);
        write("\n");
    }

    // Flushes the output and puts the file in place, with the permissions a new file gets.
    void finish() {
        if (std::fflush(file_) != 0) {
            throw OutputError{systemReason(errno)};
        }
        if (file_ == stdout) {
            return;
        }
        if (direct_) {
            if (std::fclose(std::exchange(file_, stdout)) != 0) {
                throw OutputError{systemReason(errno)};
            }
            return;
        }
        mode_t const mask = ::umask(0);
        ::umask(mask);
        std::FILE* const file = std::exchange(file_, stdout);
        bool const written =
            ::fsync(::fileno(file)) == 0 && ::fchmod(::fileno(file), 0666 & ~mask) == 0;
        int const error = errno;
        if (std::fclose(file) != 0 || ! written) {
            int const closeError = written ? errno : error;
            std::remove(temporary_.c_str());
            throw OutputError{systemReason(closeError)};
        }
        if (std::rename(temporary_.c_str(), path_.c_str()) != 0) {
            int const renameError = errno;
            std::remove(temporary_.c_str());
            throw OutputError{path_ + ": " + systemReason(renameError)};
        }
    }

private:
    std::FILE* file_ = stdout;
    std::string path_;
    std::string temporary_;
    bool direct_ = false;
};

// Options every command takes; true when the current argument was one of them.
bool commonOption(Arguments& arguments, Output& output) {
    if (arguments.is({"-o", "--output"})) {
        output.open(arguments.value());
        return true;
    }
    return false;
}

// ------------------------------------------------------------------------------------------------
// Input

// The input of a command: a data source (from a file or the built-in example) or an XML file.
struct Input {
    std::string name;
    std::optional<ZELT_DataSource> source;
    XmlDocument xml;
};

// True when the first byte that is not blank, a byte-order mark or a NUL is "<".
bool looksLikeXml(std::string const& bytes) {
    for (char const c : bytes) {
        if (c == '<') {
            return true;
        }
        auto const byte = static_cast<unsigned char>(c);
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != '\0' && byte != 0xEF &&
            byte != 0xBB && byte != 0xBF && byte != 0xFE && byte != 0xFF) {
            return false;
        }
    }
    return false;
}

Input readInput(std::string const& argument, bool xmlAllowed) {
    Input input;
    if (argument == "--example") {
        input.name = "example";
        input.source =
            loadDataSourceJson(std::string(exampleSurveyJson, exampleSurveyJson_size), "example");
        return input;
    }
    input.name = inputName(argument);
    std::string const bytes = readInputFile(argument);
    if (xmlAllowed && looksLikeXml(bytes)) {
        input.xml = readXmlText(bytes, input.name);
    } else {
        input.source = loadDataSourceJson(bytes, input.name);
    }
    return input;
}

// Takes the operand as the command's one input; "--example" counts as one.
void takeInput(Arguments const& arguments, std::optional<std::string>& input,
               std::string const& expected) {
    if ((arguments.isOption() && arguments.current() != "--example") || input) {
        throw UsageError{expected};
    }
    input = arguments.current();
}

// ------------------------------------------------------------------------------------------------
// Dictionary documents

// The dictionary document the library builds from the data source, or null.
trans::XercesPtr<xercesc::DOMDocument> dictionaryDocument(ZELT_DataSource const& source) {
    TransDictionaryImpl builder;
    return trans::XercesPtr<xercesc::DOMDocument>(builder.addDictionary(source));
}

bool isXmlCharacter(UChar32 c) noexcept {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// "U+0001": the first character of the text that XML 1.0 cannot carry (a lone surrogate
// included), or empty.
std::string firstNonXmlCharacter(XMLCh const* text) {
    icu::UnicodeString const unicode(text);
    for (int32_t i = 0; i < unicode.length(); i = unicode.moveIndex32(i, 1)) {
        UChar32 const c = unicode.char32At(i);
        if (! isXmlCharacter(c) || U_IS_SURROGATE(c)) {
            char name[16];
            std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(c));
            return name;
        }
    }
    return std::string();
}

// Where in the document, as "/dictionary/variable[3]/@label: U+0001", the first character is that
// XML 1.0 cannot carry; empty when there is none.
std::string firstNonXmlPlace(xercesc::DOMElement const* element, std::string const& path) {
    xercesc::DOMNamedNodeMap const* attributes = element->getAttributes();
    for (XMLSize_t i = 0; attributes != nullptr && i < attributes->getLength(); ++i) {
        xercesc::DOMNode const* attribute = attributes->item(i);
        std::string const character = firstNonXmlCharacter(attribute->getNodeValue());
        if (! character.empty()) {
            return path + "/@" + utf8Text(attribute->getNodeName()) + ": " + character;
        }
    }
    for (xercesc::DOMNode const* child = element->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        std::string place;
        if (child->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            std::size_t position = 0;
            std::size_t count = 0;
            for (xercesc::DOMNode const* sibling = element->getFirstChild(); sibling != nullptr;
                 sibling = sibling->getNextSibling()) {
                if (xercesc::XMLString::equals(sibling->getNodeName(), child->getNodeName())) {
                    ++count;
                    position = sibling == child ? count : position;
                }
            }
            std::string step = path + "/" + utf8Text(child->getNodeName());
            if (count > 1) {
                step += "[" + std::to_string(position) + "]";
            }
            place = firstNonXmlPlace(static_cast<xercesc::DOMElement const*>(child), step);
        } else {
            std::string const character = firstNonXmlCharacter(child->getNodeValue());
            if (! character.empty()) {
                place = path + "/node(): " + character;
            }
        }
        if (! place.empty()) {
            return place;
        }
    }
    return std::string();
}

// Why the dictionary document of the data source cannot be written as XML.
std::string unwritableReason(ZELT_DataSource const& source) {
    auto const document = dictionaryDocument(source);
    std::string const place =
        document != nullptr && document->getDocumentElement() != nullptr
            ? firstNonXmlPlace(document->getDocumentElement(),
                               "/" + utf8Text(document->getDocumentElement()->getNodeName()))
            : std::string();
    return "the document cannot be written as XML" +
           (place.empty() ? std::string() : ": a character XML 1.0 cannot carry at " + place);
}

// Indented UTF-8 text of the dictionary, made with the serializer's pretty-print option, without
// the blank lines it puts between elements (the document has no text content to lose); empty
// when it cannot be written.
std::string prettyText(ZELT_DataSource const& source) {
    auto const document = dictionaryDocument(source);
    if (document == nullptr) {
        return std::string();
    }
    xercesc::DOMImplementation* implementation =
        xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    trans::XercesPtr<xercesc::DOMLSSerializer> serializer(implementation->createLSSerializer());
    trans::XercesPtr<xercesc::DOMLSOutput> output(implementation->createLSOutput());
    xercesc::DOMConfiguration* configuration = serializer->getDomConfig();
    if (configuration->canSetParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
        configuration->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
    }
    output->setEncoding(u"UTF-8");
    xercesc::MemBufFormatTarget target;
    output->setByteStream(&target);
    bool written = false;
    try {
        written = serializer->write(document.get(), output.get());
    } catch (...) {
        written = false;
    }
    if (! written) {
        return std::string();
    }
    std::string_view const text(reinterpret_cast<char const*>(target.getRawBuffer()),
                                target.getLen());
    std::string result;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t end = text.find('\n', start);
        end = end == std::string_view::npos ? text.size() : end + 1;
        std::string_view const line = text.substr(start, end - start);
        if (line.find_first_not_of(" \t\r\n") != std::string_view::npos) {
            result += line;
        }
        start = end;
    }
    if (! result.empty() && result.back() != '\n') {
        result += '\n';
    }
    return result;
}

// Prints each error of the document on standard error; true when there is none.
bool printValidationErrors(std::vector<ValidationError> const& errors) {
    for (ValidationError const& error : errors) {
        std::fprintf(stderr, "%s\n", error.text().c_str());
    }
    return errors.empty();
}

bool helpOption(Arguments const& arguments, char const* help, Output& output) {
    if (arguments.flag({"-h", "--help"})) {
        output.write(help);
        return true;
    }
    return false;
}

int dictCommand(Arguments& arguments, Output& output) {
    bool utf16 = false;
    bool pretty = false;
    bool validate = false;
    std::optional<std::string> inputArgument;
    char const* const expected = "dict: expected one input, FILE.json, - or --example";
    while (arguments.next()) {
        if (helpOption(arguments, dictHelp, output)) {
            return exitClean;
        }
        if (arguments.flag({"--utf16"})) {
            utf16 = true;
        } else if (arguments.flag({"--validate"})) {
            validate = true;
        } else if (arguments.flag({"--pretty"})) {
            pretty = true;
        } else if (commonOption(arguments, output)) {
        } else if (arguments.isOption() && arguments.current() != "--example") {
            throw UsageError{"dict: unknown option " + arguments.current()};
        } else {
            takeInput(arguments, inputArgument, expected);
        }
    }
    if (utf16 && pretty) {
        throw UsageError{"dict: --utf16 and --pretty exclude each other"};
    }
    if (! inputArgument) {
        throw UsageError{expected};
    }
    Input input = readInput(*inputArgument, false);
    std::string prettyBytes;
    std::unique_ptr<TransString> text;
    TransStatus status;
    if (pretty) {
        prettyBytes = prettyText(*input.source);
        status.failure(prettyBytes.empty());
    } else {
        std::optional<TransValue> value(*input.source);
        // The data source is not needed for the text; a file or the example is read again should
        // the text fail. Standard input cannot be, so its data source stays.
        bool const readAgain = *inputArgument != "-";
        if (readAgain) {
            input.source.reset();
#ifdef __GLIBC__
            // Its memory lies below the document's: give the whole pages back before the text
            // takes more, so that the document and the text are what the peak holds.
            ::malloc_trim(0);
#endif
        }
        text.reset(utf16 ? value->asUTF16XML(status) : value->asMBCSXML(status));
        value.reset();
        if (status.failure() && readAgain) {
            input = readInput(*inputArgument, false);
        }
    }
    if (status.failure()) {
        std::fprintf(stderr, "transspace: failure: %s\n", unwritableReason(*input.source).c_str());
        return exitFailure;
    }
    // The text is written from the string that holds it, followed by a newline.
    std::string_view const body =
        pretty  ? std::string_view(prettyBytes)
        : utf16 ? std::string_view(reinterpret_cast<char const*>(text->asUTF16()),
                                   std::char_traits<char16_t>::length(text->asUTF16()) *
                                       sizeof(char16_t))
                : std::string_view(text->asMBCS());
    std::string_view const newline =
        pretty  ? std::string_view()
        : utf16 ? std::string_view(reinterpret_cast<char const*>(u"\n"), sizeof(char16_t))
                : std::string_view("\n");
    if (validate) {
        DictionaryValidator validator;
        std::string bytes(body);
        bytes += newline;
        if (! printValidationErrors(validator.validate(bytes, input.name + " (dictionary)"))) {
            std::fputs("transspace: dict: the document is not valid; nothing is written\n", stderr);
            return exitFailure;
        }
    }
    output.write(body);
    output.write(newline);
    output.finish();
    return status.warning() ? exitWarning : exitClean;
}

int validateCommand(Arguments& arguments, Output& output) {
    std::optional<std::string> path;
    char const* const expected = "validate: expected one input, FILE.xml or -";
    while (arguments.next()) {
        if (helpOption(arguments, validateHelp, output)) {
            return exitClean;
        }
        if (! commonOption(arguments, output)) {
            takeInput(arguments, path, expected);
        }
    }
    if (! path || *path == "--example") {
        throw UsageError{expected};
    }
    DictionaryValidator validator;
    if (! printValidationErrors(validator.validateFile(*path))) {
        return exitFailure;
    }
    output.line(inputName(*path) + ": valid");
    output.finish();
    return exitClean;
}

// ------------------------------------------------------------------------------------------------
// Queries

// A number as XPath and JavaScript write it: the shortest digits that read back to the same
// double, in plain notation from 1e-6 up to 1e21, with an exponent outside.
std::string numberText(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number < 0 ? "-Infinity" : "Infinity";
    }
    if (number == 0) {
        return "0";
    }
    char buffer[64];
    auto const scientific =
        std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
    std::string_view const text(buffer, static_cast<std::size_t>(scientific.ptr - buffer));
    std::size_t const e = text.find('e');
    bool const negative = text[0] == '-';
    std::string digits;
    for (char c : text.substr(negative ? 1 : 0, e - (negative ? 1 : 0))) {
        if (c != '.') {
            digits += c;
        }
    }
    int exponent = 0;
    std::string_view const exponentText = text.substr(e + 1);
    std::from_chars(exponentText.data() + (exponentText[0] == '+' ? 1 : 0),
                    exponentText.data() + exponentText.size(), exponent);
    std::string result = negative ? "-" : "";
    auto const length = static_cast<int>(digits.size());
    if (exponent >= 21 || exponent < -6) {
        result += digits.substr(0, 1);
        if (length > 1) {
            result += "." + digits.substr(1);
        }
        return result + "e" + (exponent > 0 ? "+" : "") + std::to_string(exponent);
    }
    if (exponent < 0) {
        return result + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
    }
    if (length <= exponent + 1) {
        return result + digits + std::string(static_cast<std::size_t>(exponent + 1 - length), '0');
    }
    return result + digits.substr(0, static_cast<std::size_t>(exponent + 1)) + "." +
           digits.substr(static_cast<std::size_t>(exponent + 1));
}

// The evaluator's message in one line.
std::string xalanMessage(xalanc::XSLException const& exception) {
    std::string message = utf8Text(exception.getMessage().c_str());
    std::string line;
    for (char c : message) {
        bool const blank = c == '\n' || c == '\r' || c == '\t' || c == ' ';
        if (! blank || (! line.empty() && line.back() != ' ')) {
            line += blank ? ' ' : c;
        }
    }
    while (! line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

bool blank(std::string const& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

// How many nodes the context path selects; -1 when that cannot be told.
double contextNodeCount(TransValueImpl const& value, std::string const& context) {
    TransStatus status;
    try {
        double const count = value.asDouble(
            TransString("/"), TransString(("count(" + context + ")").c_str()), status);
        return status.failure() ? -1 : count;
    } catch (xalanc::XSLException const&) {
        return -1;
    }
}

// The evaluator's message for the path at the node the context path selects, caught by running
// it as a context path (whose errors the library passes on); empty when it gives none.
std::string pathError(TransValueImpl const& value, std::string const& context,
                      std::string const& path) {
    // Errors of the path alone (syntax, unknown functions and prefixes, a guard's refusal) name
    // only the path; others come from running it at the context node, in a predicate.
    for (std::string const& probe :
         {path, "(" + context + ")[1][boolean(" + path + ") or true()]"}) {
        TransStatus status;
        try {
            std::unique_ptr<TransString> ignored(
                value.asString(TransString(probe.c_str()), TransString("."), status));
        } catch (xalanc::XPathParserException const& error) {
            return xalanMessage(error);
        } catch (xalanc::XSLException const& error) {
            if (probe != path) {
                return xalanMessage(error);
            }
        }
    }
    return std::string();
}

// Says on standard error why the query failed, or warns that the context path selects several
// nodes.
void explainQuery(TransValueImpl const& value, std::string const& context, std::string const& path,
                  bool failed) {
    if (failed && (blank(context) || blank(path))) {
        std::fprintf(stderr, "transspace: failure: the %s is empty\n",
                     blank(context) ? "context path" : "path");
        return;
    }
    double const count = contextNodeCount(value, context);
    if (failed && count == 0) {
        std::fputs("transspace: failure: the context path selects no node\n", stderr);
        return;
    }
    if (count > 1) {
        std::fprintf(stderr,
                     "transspace: warning: the context path selects %s nodes; the first is used\n",
                     numberText(count).c_str());
    }
    if (failed) {
        std::string const message = pathError(value, context, path);
        std::fprintf(stderr, "transspace: failure: %s\n",
                     message.empty() ? "the path gives no result"
                                     : ("error in the path: " + message).c_str());
    }
}

// ------------------------------------------------------------------------------------------------
// Namespaces

xercesc::DOMElement* copyAsBuiltInMemory(xercesc::DOMDocument& target,
                                         xercesc::DOMElement const& element);

// Copies the children of `from` under `to` in the target document.
void copyChildren(xercesc::DOMDocument& target, xercesc::DOMNode const& from,
                  xercesc::DOMNode& to) {
    for (xercesc::DOMNode const* child = from.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        trans::appendNewChild(
            to, child->getNodeType() == xercesc::DOMNode::ELEMENT_NODE
                    ? *copyAsBuiltInMemory(target, *static_cast<xercesc::DOMElement const*>(child))
                    : *target.importNode(child, false));
    }
}

// The element as the library builds it in memory: elements of the dictionary namespace without a
// namespace, each attribute by its name; elements of other namespaces keep theirs.
xercesc::DOMElement* copyAsBuiltInMemory(xercesc::DOMDocument& target,
                                         xercesc::DOMElement const& element) {
    bool const dictionary = xercesc::XMLString::equals(element.getNamespaceURI(),
                                                       TransXMLChArray::schemaDefaultNSValue_s);
    xercesc::DOMElement* copy =
        dictionary ? target.createElement(element.getLocalName())
                   : target.createElementNS(element.getNamespaceURI(), element.getNodeName());
    xercesc::DOMNamedNodeMap const* attributes = element.getAttributes();
    for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
        xercesc::DOMNode const* attribute = attributes->item(i);
        if (dictionary) {
            trans::setNewAttribute(*copy, attribute->getNodeName(), attribute->getNodeValue());
        } else {
            copy->setAttributeNS(attribute->getNamespaceURI(), attribute->getNodeName(),
                                 attribute->getNodeValue());
        }
    }
    copyChildren(target, element, *copy);
    return copy;
}

// A dictionary file (its document element is `dictionary` in the dictionary namespace) as the
// document the library builds from a data source, whose elements have no namespace: the same
// paths then select the same nodes in both. Other documents stay as they are.
XmlDocument asBuiltInMemory(XmlDocument document) {
    xercesc::DOMElement const* root = document->getDocumentElement();
    if (! xercesc::XMLString::equals(root->getNamespaceURI(),
                                     TransXMLChArray::schemaDefaultNSValue_s) ||
        ! xercesc::XMLString::equals(root->getLocalName(), TransXMLChArray::dictionary_s)) {
        return document;
    }
    XmlDocument copy(
        xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS")->createDocument());
    copyChildren(*copy, *document, *copy);
    return copy;
}

// "PREFIX=URI" of --namespace.
struct NamespaceBinding {
    std::u16string prefix;
    std::u16string uri;
};

NamespaceBinding namespaceBinding(std::string const& text) {
    std::size_t const equals = text.find('=');
    icu::UnicodeString const prefix = icu::UnicodeString::fromUTF8(text.substr(0, equals));
    std::u16string const name(prefix.getBuffer(), static_cast<std::size_t>(prefix.length()));
    if (equals == std::string::npos || equals + 1 == text.size() ||
        ! xercesc::XMLChar1_0::isValidNCName(name.c_str(), name.size()) || name == u"xmlns" ||
        name == u"xml") {
        throw UsageError{"query: --namespace takes PREFIX=URI with a prefix name and a URI, not " +
                         text};
    }
    icu::UnicodeString const uri = icu::UnicodeString::fromUTF8(text.substr(equals + 1));
    return {name, std::u16string(uri.getBuffer(), static_cast<std::size_t>(uri.length()))};
}

// Declares the prefixes on the document element, where the evaluator's prefix resolver finds
// them.
void declarePrefixes(xercesc::DOMDocument& document,
                     std::vector<NamespaceBinding> const& bindings) {
    xercesc::DOMElement* root = document.getDocumentElement();
    for (NamespaceBinding const& binding : bindings) {
        std::u16string const name = u"xmlns:" + binding.prefix;
        root->setAttributeNS(xercesc::XMLUni::fgXMLNSURIName, name.c_str(), binding.uri.c_str());
    }
}

// The document value to query. A document read from a file is handed over to it, not copied.
std::unique_ptr<TransValueImpl const> queryValue(Input& input,
                                                 std::vector<NamespaceBinding> const& bindings) {
    if (input.xml != nullptr) {
        input.xml = asBuiltInMemory(std::move(input.xml));
    } else if (! bindings.empty()) {
        auto built = dictionaryDocument(*input.source);
        if (built == nullptr) {
            return std::make_unique<TransDOMImpl>(*input.source); // fails as the library fails
        }
        input.xml.reset(built.release());
    } else {
        return std::make_unique<TransDOMImpl>(*input.source);
    }
    declarePrefixes(*input.xml, bindings);
    return TransDOMImplAdoption::adopt(input.xml.release());
}

int queryCommand(Arguments& arguments, Output& output) {
    enum class Kind { String, List, Double } kind = Kind::String;
    std::vector<std::string> operands;
    std::vector<NamespaceBinding> bindings;
    while (arguments.next()) {
        if (helpOption(arguments, queryHelp, output)) {
            return exitClean;
        }
        if (arguments.flag({"--list", "--double"})) {
            if (kind != Kind::String) {
                throw UsageError{"query: --list and --double exclude each other"};
            }
            kind = arguments.current() == "--list" ? Kind::List : Kind::Double;
        } else if (arguments.is({"-N", "--namespace"})) {
            bindings.push_back(namespaceBinding(arguments.value()));
        } else if (commonOption(arguments, output)) {
        } else if (arguments.isOption() &&
                   ! (operands.empty() && arguments.current() == "--example")) {
            throw UsageError{"query: unknown option " + arguments.current() +
                             " (-- before a path that begins with -)"};
        } else {
            operands.push_back(arguments.current());
        }
    }
    if (operands.size() != 3) {
        throw UsageError{"query: expected an input (FILE.json, FILE.xml, - or --example), CONTEXT "
                         "and PATH"};
    }
    Input input = readInput(operands[0], true);
    std::unique_ptr<TransValueImpl const> const owned = queryValue(input, bindings);
    TransValueImpl const& value = *owned;
    input = Input(); // the value holds the document now: the rest can go before the query
    TransString const context(operands[1].c_str());
    TransString const path(operands[2].c_str());
    TransStatus status;
    std::vector<std::string> lines;
    try {
        switch (kind) {
        case Kind::String: {
            std::unique_ptr<TransString> result(value.asString(context, path, status));
            lines.emplace_back(result->asMBCS());
            break;
        }
        case Kind::List: {
            std::unique_ptr<TransStringList> result(value.asStringList(context, path, status));
            for (unsigned long i = 0; i < result->size(); ++i) {
                lines.emplace_back(result->asMBCS(i));
            }
            break;
        }
        case Kind::Double:
            lines.push_back(numberText(value.asDouble(context, path, status)));
            break;
        }
    } catch (xalanc::XSLException const& error) {
        throw ContextPathError{xalanMessage(error)};
    }
    explainQuery(value, operands[1], operands[2], status.failure());
    if (status.failure()) {
        return exitFailure;
    }
    for (std::string const& line : lines) {
        output.line(line);
    }
    output.finish();
    return status.warning() ? exitWarning : exitClean;
}

// ------------------------------------------------------------------------------------------------
// The command line

void setCodePage(std::string const& name) {
    if (! name.empty()) {
        UErrorCode error = U_ZERO_ERROR;
        UConverter* converter = ucnv_open(name.c_str(), &error);
        ucnv_close(converter);
        if (U_FAILURE(error)) {
            throw UsageError{"--code-page: unknown code page " + name};
        }
    }
    ZELTSetMBDefaultCodePage(name);
}

int run(std::vector<std::string> const& argumentList, Output& output) {
    Arguments arguments(argumentList.begin(), argumentList.end());
    bool command = false;
    while (! command && arguments.next()) {
        if (arguments.is({"--code-page"})) {
            setCodePage(arguments.value());
        } else if (arguments.is({"--utf8-mode"})) {
            std::string const setting = arguments.value();
            if (setting != "on" && setting != "off") {
                throw UsageError{"--utf8-mode takes on or off"};
            }
            ZELTSetUTF8mode(setting == "on" ? 1 : 0);
        } else if (arguments.flag({"-h", "--help"})) {
            output.write(std::string(commonHelp) + dictHelp + validateHelp + queryHelp +
                         closingHelp);
            output.finish();
            return exitClean;
        } else if (arguments.flag({"-V", "--version"})) {
            std::printf("transspace %s\n", transVersion());
            return exitClean;
        } else if (! commonOption(arguments, output)) {
            command = ! arguments.isOption();
            if (! command) {
                throw UsageError{"unknown option " + arguments.current()};
            }
        }
    }
    if (! command) {
        throw UsageError{"no command"};
    }
    std::string const name = arguments.current();
    if (name != "dict" && name != "query" && name != "validate") {
        throw UsageError{"unknown command " + name};
    }
    TransSpace const space; // brings the XML libraries up for the documents below
    if (name == "validate") {
        return validateCommand(arguments, output);
    }
    return name == "dict" ? dictCommand(arguments, output) : queryCommand(arguments, output);
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    std::vector<std::string> const arguments(argv + 1, argv + argc);
    int status = exitFailure;
    try {
        Output output;
        status = run(arguments, output);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            throw OutputError{systemReason(errno)};
        }
    } catch (UsageError const& error) {
        std::fprintf(stderr, "transspace: %s\n(transspace --help shows the usage)\n",
                     error.message.c_str());
    } catch (OutputError const& error) {
        std::fprintf(stderr, "transspace: cannot write the output: %s\n", error.reason.c_str());
        status = exitFailure;
    } catch (DataSourceFileError const& error) {
        std::fprintf(stderr, "transspace: %s\n", error.what());
    } catch (XmlFileError const& error) {
        std::fprintf(stderr, "transspace: %s\n", error.what());
    } catch (ContextPathError const& error) {
        std::fprintf(stderr, "transspace: failure: error in the context path: %s\n",
                     error.message.c_str());
    } catch (std::exception const& error) {
        std::fprintf(stderr, "transspace: %s\n", error.what());
    }
    if (std::fclose(stdout) != 0 && status != exitFailure) {
        std::fprintf(stderr, "transspace: cannot write the output: %s\n",
                     systemReason(errno).c_str());
        status = exitFailure;
    }
    return status;
}
