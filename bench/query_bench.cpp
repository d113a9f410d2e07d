// XPath queries on dictionary values, beside libxml2 answering the same two-step queries on the
// same XML text.
//
//   query/cheap/library/N     context "/dictionary", path "attribute::rowCount" (asString)
//   query/variable/library/N  context "/dictionary/variable[@name='v{N/2}']", path
//                             "attribute::label" (asString)
//   query/list/library/N      context
//   "/dictionary/valueLabelSet[valueLabelVariable/@name='v{N/2}']",
//                             path "valueLabel/@label" (asStringList)
//   query/.../libxml2/N       the same: xmlXPathEval of the context at the document, then
//                             xmlXPathNodeEval of the path at the first node it selects, the result
//                             turned into a string (the first node's value) or a list (every
//                             node's value)
//
// N is 1,000, 10,000 or 100,000 variables. libxml2 reads the value's asMBCSXML text with the
// default namespace declaration (xmlns="...") taken out of the root element: the library's
// elements are in no namespace, and without the declaration libxml2's elements are in none
// either, so the same unprefixed paths select the same nodes. Before a size is timed, both sides
// must give the same answers to the three queries (exit status 1 if not).
#include "benchsupport.h"
#include "generator.h"
#include "transspace.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace transbench;

namespace {

constexpr int sizes[] = {1000, 10000, 100000};

struct Query {
    std::string context;
    std::string path;
    bool list;
};

enum class Kind { Cheap, Variable, List };

Query query(Kind kind, int n) {
    std::string const middle = variableName(n / 2);
    switch (kind) {
    case Kind::Cheap:
        return {"/dictionary", "attribute::rowCount", false};
    case Kind::Variable:
        return {"/dictionary/variable[@name='" + middle + "']", "attribute::label", false};
    case Kind::List:
        break;
    }
    return {"/dictionary/valueLabelSet[valueLabelVariable/@name='" + middle + "']",
            "valueLabel/@label", true};
}

char const* kindName(Kind kind) {
    switch (kind) {
    case Kind::Cheap:
        return "cheap";
    case Kind::Variable:
        return "variable";
    case Kind::List:
        break;
    }
    return "list";
}

// ---------------------------------------------------------------------------------------------
// libxml2's side

struct XmlDocFree {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
struct XPathContextFree {
    void operator()(xmlXPathContext* context) const noexcept { xmlXPathFreeContext(context); }
};
struct XPathObjectFree {
    void operator()(xmlXPathObject* object) const noexcept { xmlXPathFreeObject(object); }
};
using XPathObjectPtr = std::unique_ptr<xmlXPathObject, XPathObjectFree>;

std::string takeText(xmlChar* text) {
    std::string result = text != nullptr ? reinterpret_cast<char const*>(text) : "";
    xmlFree(text);
    return result;
}

class LibXmlDocument {
public:
    explicit LibXmlDocument(std::string text) {
        static std::string const declaration = " xmlns=\"http://xml.zelt.com/zelt/data\"";
        std::size_t const root = text.find("<dictionary");
        std::size_t const at = text.find(declaration, root);
        if (root == std::string::npos || at == std::string::npos || at > text.find('>', root)) {
            fail("query_bench: no default namespace declaration on the root element");
        }
        text.erase(at, declaration.size());
        document_.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()), "dictionary.xml",
                                      nullptr, XML_PARSE_NONET | XML_PARSE_HUGE));
        if (! document_) {
            fail("query_bench: libxml2 cannot read the dictionary's XML text");
        }
        context_.reset(xmlXPathNewContext(document_.get()));
    }

    // The first node the context selects, or null.
    xmlNode* contextNode(std::string const& context) {
        context_->node = reinterpret_cast<xmlNode*>(document_.get());
        XPathObjectPtr const selected(
            xmlXPathEval(reinterpret_cast<xmlChar const*>(context.c_str()), context_.get()));
        if (! selected || selected->type != XPATH_NODESET || selected->nodesetval == nullptr ||
            selected->nodesetval->nodeNr == 0) {
            return nullptr;
        }
        return selected->nodesetval->nodeTab[0];
    }

    XPathObjectPtr evaluate(Query const& q) {
        xmlNode* node = contextNode(q.context);
        if (node == nullptr) {
            return nullptr;
        }
        return XPathObjectPtr(xmlXPathNodeEval(
            node, reinterpret_cast<xmlChar const*>(q.path.c_str()), context_.get()));
    }

    std::string asString(Query const& q) {
        XPathObjectPtr const result = evaluate(q);
        if (! result) {
            return std::string();
        }
        if (result->type == XPATH_NODESET) {
            xmlNodeSet const* nodes = result->nodesetval;
            return nodes != nullptr && nodes->nodeNr > 0
                       ? takeText(xmlXPathCastNodeToString(nodes->nodeTab[0]))
                       : std::string();
        }
        return takeText(xmlXPathCastToString(result.get()));
    }

    std::vector<std::string> asStringList(Query const& q) {
        std::vector<std::string> list;
        XPathObjectPtr const result = evaluate(q);
        if (! result) {
            return list;
        }
        if (result->type == XPATH_NODESET) {
            xmlNodeSet const* nodes = result->nodesetval;
            int const count = nodes != nullptr ? nodes->nodeNr : 0;
            list.reserve(static_cast<std::size_t>(count));
            for (int i = 0; i < count; ++i) {
                list.push_back(takeText(xmlXPathCastNodeToString(nodes->nodeTab[i])));
            }
        } else {
            list.push_back(takeText(xmlXPathCastToString(result.get())));
        }
        return list;
    }

private:
    std::unique_ptr<xmlDoc, XmlDocFree> document_;
    std::unique_ptr<xmlXPathContext, XPathContextFree> context_;
};

// ---------------------------------------------------------------------------------------------
// The library's side

std::string libraryString(TransValue const& value, TransString const& context,
                          TransString const& path) {
    TransStatus status;
    TransString* text = value.asString(context, path, status);
    std::string result = status.failure() ? "(failure)" : text->asMBCS();
    TransValue::releaseString(text);
    return result;
}

std::vector<std::string> libraryList(TransValue const& value, TransString const& context,
                                     TransString const& path) {
    TransStatus status;
    TransStringList* list = value.asStringList(context, path, status);
    std::vector<std::string> result;
    if (status.failure()) {
        result.push_back("(failure)");
    } else {
        for (unsigned long i = 0; i < list->size(); ++i) {
            result.push_back(list->asMBCS(i));
        }
    }
    TransValue::releaseStringList(list);
    return result;
}

// ---------------------------------------------------------------------------------------------
// Fixtures

struct Fixture {
    std::unique_ptr<TransValue> value;
    std::unique_ptr<LibXmlDocument> libxml;
};

std::string joined(std::vector<std::string> const& list) {
    std::string text = "[";
    for (std::string const& entry : list) {
        text += (text.size() > 1 ? ", \"" : "\"") + entry + "\"";
    }
    return text + "]";
}

// The value and libxml2's document for n variables, checked on first use.
std::map<int, Fixture> fixtures;

Fixture& fixture(int n) {
    Fixture& entry = fixtures[n];
    if (entry.value) {
        return entry;
    }
    entry.value = std::make_unique<TransValue>(makeDictionaryValue(dataSource(n)));
    TransStatus status;
    TransString* text = entry.value->asMBCSXML(status);
    if (status.failure()) {
        fail("query_bench: asMBCSXML failed");
    }
    entry.libxml = std::make_unique<LibXmlDocument>(text->asMBCS());
    TransValue::releaseString(text);

    for (Kind const kind : {Kind::Cheap, Kind::Variable, Kind::List}) {
        Query const q = query(kind, n);
        TransString const context(q.context.c_str());
        TransString const path(q.path.c_str());
        std::string library;
        std::string libxml;
        if (q.list) {
            library = joined(libraryList(*entry.value, context, path));
            libxml = joined(entry.libxml->asStringList(q));
        } else {
            library = libraryString(*entry.value, context, path);
            libxml = entry.libxml->asString(q);
        }
        if (library != libxml || library.empty() || library == "[]") {
            fail("query_bench: the answers differ or are empty for the " +
                 std::string(kindName(kind)) + " query at " + std::to_string(n) +
                 " variables:\n  library: " + library + "\n  libxml2: " + libxml);
        }
        std::fprintf(stderr, "check: %s query at %d variables: %s\n", kindName(kind), n,
                     library.c_str());
    }
    return entry;
}

// ---------------------------------------------------------------------------------------------
// Benchmarks

void libraryQuery(benchmark::State& state, Kind kind, int n, std::string const& name) {
    TransValue const& value = *fixture(n).value;
    Query const q = query(kind, n);
    TransString const context(q.context.c_str());
    TransString const path(q.path.c_str());
    timingStarts(name);
    for (auto _ : state) {
        TransStatus status;
        // Released through the library, the answers cannot be optimised away (see build_bench).
        if (q.list) {
            TransStringList* list = value.asStringList(context, path, status);
            TransValue::releaseStringList(list);
        } else {
            TransString* text = value.asString(context, path, status);
            TransValue::releaseString(text);
        }
    }
}

void libxmlQuery(benchmark::State& state, Kind kind, int n, std::string const& name) {
    LibXmlDocument& document = *fixture(n).libxml;
    Query const q = query(kind, n);
    timingStarts(name);
    for (auto _ : state) {
        if (q.list) {
            benchmark::DoNotOptimize(document.asStringList(q));
        } else {
            benchmark::DoNotOptimize(document.asString(q));
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    parseOptions(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    xmlInitParser();
    TransSpace space;

    for (int const n : sizes) {
        for (Kind const kind : {Kind::Cheap, Kind::Variable, Kind::List}) {
            std::string const prefix = std::string("query/") + kindName(kind);
            std::string const library = prefix + "/library/" + std::to_string(n);
            std::string const libxml = prefix + "/libxml2/" + std::to_string(n);
            benchmark::RegisterBenchmark(library.c_str(),
                                         [kind, n, library](benchmark::State& state) {
                                             libraryQuery(state, kind, n, library);
                                         })
                ->Unit(benchmark::kMicrosecond)
                ->MinTime(0.3);
            benchmark::RegisterBenchmark(
                libxml.c_str(),
                [kind, n, libxml](benchmark::State& state) { libxmlQuery(state, kind, n, libxml); })
                ->Unit(benchmark::kMicrosecond)
                ->MinTime(0.3);
        }
    }

    benchmark::AddCustomContext("values_from", valueSourceName());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fixtures.clear();
    xmlCleanupParser();
    return 0;
}
