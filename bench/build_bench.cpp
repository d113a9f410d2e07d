// Building dictionaries and writing them as XML text, beside plain Xerces-C doing the same work.
//
//   addDictionary/N        TransDictionaryImpl::addDictionary of a generated data source
//   directDictionary/N     the same document made by buildDirectDictionary (the yardstick)
//   valueFromDataSource/N  TransValue(dataSource) as a whole
//   spaceAdd/N             TransSpace::add of that value (removed again outside the timing)
//   asMBCSXML/N, asUTF16XML/N             the value's XML text
//   asXalanDocument/N      the bridged view of a fresh copy of the value (copied outside the
//   timing) firstQuery/N           the first query on a fresh copy (one variable's label): the
//   source tree
//                          and the context index are made
//   directWriteMBCS/N, directWriteUTF16/N a DOMLSSerializer writing the same document, set up as
//                                         the library sets it up
//
// N is the number of variables: 1,000, 10,000 and 100,000 (the XML text at 100,000 only, the
// view and the first query at 10,000 and 100,000). Before
// anything is timed the program checks that addDictionary and buildDirectDictionary make documents
// with the same UTF-16 text at 1,000 variables (exit status 1 with the first difference if not),
// and that the library's XML text equals the direct write's. Own options: see benchsupport.h.
#include "benchsupport.h"
#include "directdictionary.h"
#include "generator.h"
#include "transdictionaryimpl.h"
#include "transspace.h"
#include "transutil.h"
#include "transxmlchararray.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

using namespace transbench;

namespace {

constexpr int sizes[] = {1000, 10000, 100000};
constexpr int xmlSize = 100000;
constexpr int checkSize = 1000;

struct DocumentReleaser {
    void operator()(xercesc::DOMDocument* document) const noexcept {
        if (document != nullptr) {
            document->release();
        }
    }
};
using DocumentPtr = std::unique_ptr<xercesc::DOMDocument, DocumentReleaser>;

// What the benchmarks share, made on first use; destroyed before the space that keeps the XML
// libraries up.
struct Fixtures {
    TransSpace* space = nullptr;
    std::map<int, std::unique_ptr<TransValue>> values;
    std::map<int, DocumentPtr> documents;
    std::map<int, bool> writesChecked;

    TransValue const& value(int n) {
        std::unique_ptr<TransValue>& entry = values[n];
        if (! entry) {
            entry = std::make_unique<TransValue>(makeDictionaryValue(dataSource(n)));
        }
        return *entry;
    }

    xercesc::DOMDocument const* document(int n) {
        DocumentPtr& entry = documents[n];
        if (! entry) {
            entry.reset(buildDirectDictionary(dataSource(n)));
        }
        return entry.get();
    }
};

Fixtures* fixtures = nullptr;

std::string narrow(std::u16string const& text) {
    std::string result;
    result.reserve(text.size());
    for (char16_t const c : text) {
        result.push_back(c < 0x80 ? static_cast<char>(c) : '?');
    }
    return result;
}

// Stops the program when the two texts differ, showing where.
void requireSame(std::string const& what, std::string const& expected, std::string const& actual) {
    if (expected == actual) {
        return;
    }
    std::size_t at = 0;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) {
        ++at;
    }
    std::size_t const from = at > 60 ? at - 60 : 0;
    fail("check failed: " + what + " differ at offset " + std::to_string(at) + " (lengths " +
         std::to_string(expected.size()) + " and " + std::to_string(actual.size()) + ")\n  " +
         expected.substr(from, 160) + "\n  " + actual.substr(from, 160));
}

void checkBuilders() {
    ZELT_DataSource const& ds = dataSource(checkSize);
    TransDictionaryImpl builder;
    DocumentPtr const built(builder.addDictionary(ds));
    if (! built) {
        fail("check failed: addDictionary made no document");
    }
    DocumentPtr const direct(buildDirectDictionary(ds));
    std::u16string const builtText = serializeUTF16(built.get());
    requireSame("the UTF-16 texts of addDictionary and the direct build", narrow(builtText),
                narrow(serializeUTF16(direct.get())));
    std::fprintf(stderr,
                 "check: addDictionary and the direct build agree at %d variables (%zu "
                 "UTF-16 code units)\n",
                 checkSize, builtText.size());
}

std::u16string widen(std::string const& text) {
    return std::u16string(text.begin(), text.end());
}

void checkWrites(int n) {
    TransValue const& value = fixtures->value(n);
    xercesc::DOMDocument const* document = fixtures->document(n);
    std::u16string const codePage = widen(TransUtil::codepage());

    std::string direct;
    transbench::serialize(document, codePage.c_str(), &direct);
    TransStatus status;
    TransString* text = value.asMBCSXML(status);
    if (status.failure()) {
        fail("check failed: asMBCSXML failed");
    }
    requireSame("asMBCSXML and the direct write", direct, text->asMBCS());
    TransValue::releaseString(text);

    transbench::serialize(document, TransXMLChArray::UTF16_s, &direct);
    text = value.asUTF16XML(status);
    if (status.failure()) {
        fail("check failed: asUTF16XML failed");
    }
    char16_t const* utf16 = text->asUTF16();
    requireSame("asUTF16XML and the direct write", direct,
                std::string(reinterpret_cast<char const*>(utf16),
                            std::char_traits<char16_t>::length(utf16) * sizeof(char16_t)));
    TransValue::releaseString(text);
}

// ---------------------------------------------------------------------------------------------
// Benchmarks

void addDictionary(benchmark::State& state, int n, std::string const& name) {
    ZELT_DataSource const& ds = dataSource(n);
    timingStarts(name);
    for (auto _ : state) {
        TransDictionaryImpl builder;
        xercesc::DOMDocument* document = builder.addDictionary(ds);
        state.PauseTiming();
        if (document == nullptr) {
            state.SkipWithError("addDictionary made no document");
            break;
        }
        document->release();
        state.ResumeTiming();
    }
}

void directDictionary(benchmark::State& state, int n, std::string const& name) {
    ZELT_DataSource const& ds = dataSource(n);
    timingStarts(name);
    for (auto _ : state) {
        xercesc::DOMDocument* document = buildDirectDictionary(ds);
        state.PauseTiming();
        document->release();
        state.ResumeTiming();
    }
}

void valueFromDataSource(benchmark::State& state, int n, std::string const& name) {
    ZELT_DataSource const& ds = dataSource(n);
    std::optional<TransValue> value;
    timingStarts(name);
    for (auto _ : state) {
        value.emplace(ds);
        state.PauseTiming();
        value.reset();
        state.ResumeTiming();
    }
}

void spaceAdd(benchmark::State& state, int n, std::string const& name) {
    TransValue const& value = fixtures->value(n);
    TransString const handle("dictionary");
    TransSpace& space = *fixtures->space;
    timingStarts(name);
    for (auto _ : state) {
        TransStatus status;
        bool const added = space.add(handle, value, status);
        state.PauseTiming();
        if (! added) {
            state.SkipWithError("TransSpace::add failed");
            break;
        }
        space.remove(handle);
        state.ResumeTiming();
    }
}

// Runs `use` on a fresh copy of the size's value per iteration.
template <typename Use>
void onFreshCopies(benchmark::State& state, int n, std::string const& name, Use use) {
    TransValue const& original = fixtures->value(n);
    std::optional<TransValue> copy;
    timingStarts(name);
    for (auto _ : state) {
        state.PauseTiming();
        copy.reset();
        copy.emplace(original);
        state.ResumeTiming();
        if (! use(*copy)) {
            state.SkipWithError("the value gave no answer");
            break;
        }
    }
}

void asXalanDocument(benchmark::State& state, int n, std::string const& name) {
    onFreshCopies(state, n, name, [](TransValue const& fresh) {
        TransStatus status;
        return fresh.asXalanDocument(status) != nullptr;
    });
}

void firstQuery(benchmark::State& state, int n, std::string const& name) {
    TransString const context(
        ("/dictionary/variable[@name='" + variableName(n / 2) + "']").c_str());
    TransString const path("attribute::label");
    onFreshCopies(state, n, name, [&](TransValue const& fresh) {
        TransStatus status;
        TransString* label = fresh.asString(context, path, status);
        bool const answered = ! label->empty();
        TransValue::releaseString(label);
        return answered;
    });
}

// Checks the XML texts once per size, before the first timed write.
void checkWritesOnce(int n) {
    if (! fixtures->writesChecked[n]) {
        checkWrites(n);
        fixtures->writesChecked[n] = true;
    }
}

void asXML(benchmark::State& state, int n, std::string const& name, bool utf16) {
    TransValue const& value = fixtures->value(n);
    checkWritesOnce(n);
    timingStarts(name);
    for (auto _ : state) {
        TransStatus status;
        // Released through the library, the text cannot be optimised away. (Passing the pointer
        // to DoNotOptimize as an lvalue made GCC 12 release a stale stack slot instead.)
        TransString* text = utf16 ? value.asUTF16XML(status) : value.asMBCSXML(status);
        TransValue::releaseString(text);
    }
}

void directWriteXML(benchmark::State& state, int n, std::string const& name, bool utf16) {
    xercesc::DOMDocument const* document = fixtures->document(n);
    checkWritesOnce(n);
    std::u16string const encoding = utf16 ? TransXMLChArray::UTF16_s : widen(TransUtil::codepage());
    timingStarts(name);
    for (auto _ : state) {
        benchmark::DoNotOptimize(transbench::serialize(document, encoding.c_str()));
    }
}

using Function = void (*)(benchmark::State&, int, std::string const&);

// Builds take seconds at 100,000 variables: one iteration per repetition there.
void registerSized(char const* family, Function function, int n) {
    std::string const name = std::string(family) + "/" + std::to_string(n);
    auto* b = benchmark::RegisterBenchmark(
        name.c_str(), [function, n, name](benchmark::State& state) { function(state, n, name); });
    b->Unit(benchmark::kMillisecond);
    if (n >= 100000) {
        b->Iterations(1);
    } else {
        b->MinTime(0.3);
    }
}

void registerWrite(char const* family,
                   void (*function)(benchmark::State&, int, std::string const&, bool), bool utf16) {
    std::string const name = std::string(family) + "/" + std::to_string(xmlSize);
    auto* b = benchmark::RegisterBenchmark(name.c_str(),
                                           [function, name, utf16](benchmark::State& state) {
                                               function(state, xmlSize, name, utf16);
                                           });
    b->Unit(benchmark::kMillisecond)->MinTime(0.5);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Options const& opts = parseOptions(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    TransSpace space;
    Fixtures shared;
    shared.space = &space;
    fixtures = &shared;

    if (opts.check) {
        checkBuilders();
    }
    if (opts.checkOnly) {
        checkWrites(checkSize);
        std::fprintf(stderr,
                     "check: the library's XML text equals the direct write at %d "
                     "variables\n",
                     checkSize);
        return 0;
    }

    for (int const n : sizes) {
        registerSized("addDictionary", addDictionary, n);
        registerSized("directDictionary", directDictionary, n);
        registerSized("valueFromDataSource", valueFromDataSource, n);
        registerSized("spaceAdd", spaceAdd, n);
        if (n >= 10000) {
            registerSized("asXalanDocument", asXalanDocument, n);
            registerSized("firstQuery", firstQuery, n);
        }
    }
    registerWrite("asMBCSXML", asXML, false);
    registerWrite("directWriteMBCS", directWriteXML, false);
    registerWrite("asUTF16XML", asXML, true);
    registerWrite("directWriteUTF16", directWriteXML, true);

    benchmark::AddCustomContext("values_from", valueSourceName());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    shared.values.clear();
    shared.documents.clear();
    return 0;
}
