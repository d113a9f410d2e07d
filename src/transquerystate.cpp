#include "transquerystate.h"

#include "transxpathfunctions.h"
#include "transxpathguard.h"

#include <xalanc/XPath/MutableNodeRefList.hpp>
#include <xalanc/XPath/NodeRefListBase.hpp>
#include <xalanc/XPath/XPathParserException.hpp>
#include <xalanc/XPath/XPathProcessorImpl.hpp>
#include <xercesc/util/XMLUni.hpp>

using xalanc::XalanMemMgrs;

namespace trans {

namespace {

xalanc::MemoryManager& memory() noexcept {
    return XalanMemMgrs::getDefaultXercesMemMgr();
}

} // namespace

DocumentPrefixes::DocumentPrefixes(xalanc::XalanDocument const* document)
    : declarations_(document, xalanc::XalanDOMString(memory()), memory()),
      xmlNamespace_(xercesc::XMLUni::fgXMLURIName, memory()),
      standingNamespace_(standingNamespace.data(), memory(),
                         static_cast<xalanc::XalanDOMString::size_type>(standingNamespace.size())) {
}

xalanc::XalanDOMString const*
DocumentPrefixes::getNamespaceForPrefix(xalanc::XalanDOMString const& prefix) const {
    if (prefix == u"xml") {
        return &xmlNamespace_;
    }
    if (std::u16string_view(prefix.c_str(), prefix.length()) == standingPrefix) {
        return &standingNamespace_;
    }
    return declarations_.getNamespaceForPrefix(prefix);
}

xalanc::XalanDOMString const& DocumentPrefixes::getURI() const {
    return declarations_.getURI();
}

void CompiledPath::SilentContext::problem(eSource, eClassification classification,
                                          xalanc::XalanDOMString const& message,
                                          xalanc::Locator const* locator,
                                          xalanc::XalanNode const*) {
    if (classification == eError) {
        throw xalanc::XPathParserException(message, getMemoryManager(), locator);
    }
}

void CompiledPath::SilentContext::problem(eSource, eClassification classification,
                                          xalanc::XalanDOMString const& message,
                                          xalanc::XalanNode const*) {
    if (classification == eError) {
        throw xalanc::XPathParserException(message, getMemoryManager());
    }
}

namespace {

void compile(xalanc::XPath& path, xalanc::XPathConstructionContext& construction,
             std::u16string const& expression, xalanc::PrefixResolver const& resolver) {
    xalanc::XPathProcessorImpl processor(memory());
    processor.initXPath(
        path, construction,
        xalanc::XalanDOMString(expression.c_str(), memory(),
                               static_cast<xalanc::XalanDOMString::size_type>(expression.size())),
        resolver);
}

} // namespace

CompiledPath::CompiledPath(std::u16string const& expression, xalanc::PrefixResolver const& resolver)
    : construction_(memory()), path_(memory()) {
    std::u16string const conforming = conformingPath(expression);
    if (conforming == expression) {
        compile(path_, construction_, expression, resolver);
        return;
    }
    try {
        compile(path_, construction_, conforming, resolver);
    } catch (xalanc::XSLException const&) {
        // The error as the expression was written: the rewritten text would show in the message.
        xalanc::XPath asWritten(memory());
        compile(asWritten, construction_, expression, resolver);
        throw;
    }
}

PathEvaluator::PathEvaluator() : environment_(memory()), objects_(memory()), context_(memory()) {
    installStandingFunctions(environment_);
}

xalanc::XObjectPtr PathEvaluator::evaluate(xalanc::DOMSupport& domSupport, xalanc::XalanNode* node,
                                           xalanc::XPath const& path,
                                           xalanc::PrefixResolver const& resolver) {
    // The context points at this call's objects only while it runs, and at none after it, also
    // when the evaluation throws.
    struct Connection {
        xalanc::XPathExecutionContextDefault& context;
        ~Connection() {
            context.setXPathEnvSupport(nullptr);
            context.setXObjectFactory(nullptr);
            context.setDOMSupport(nullptr);
        }
    };
    context_.reset();
    objects_.reset();
    Connection const connection{context_};
    context_.setXPathEnvSupport(&environment_);
    context_.setXObjectFactory(&objects_);
    context_.setDOMSupport(&domSupport);
    xalanc::MutableNodeRefList nodes(memory());
    nodes.addNode(node);
    xalanc::XPathExecutionContext::ContextNodeListPushAndPop const list(context_, nodes);
    return path.execute(node, resolver, context_);
}

xalanc::XalanNode* PathEvaluator::selectSingleNode(xalanc::DOMSupport& domSupport,
                                                   xalanc::XalanNode* node,
                                                   xalanc::XPath const& path,
                                                   xalanc::PrefixResolver const& resolver) {
    xalanc::XObjectPtr const result = evaluate(domSupport, node, path, resolver);
    xalanc::NodeRefListBase const& nodes = result->nodeset();
    return nodes.getLength() == 0 ? nullptr : nodes.item(0);
}

} // namespace trans

TransDOMImpl::QueryState::QueryState(trans::SourceTree sourceTree, xalanc::XalanDocument* view)
    : tree(std::move(sourceTree)), document(tree != nullptr ? tree.get() : view),
      empty(document->getDocumentElement() == nullptr ? std::make_unique<trans::EmptyRoot>()
                                                      : nullptr),
      root(empty != nullptr ? empty->node() : document), resolver(document) {
    if (tree != nullptr && empty == nullptr) {
        index = std::make_unique<trans::ContextIndex>(*tree);
    }
}

xalanc::XPath const& TransDOMImpl::QueryState::compiled(std::u16string const& expression) {
    auto const found = paths.find(expression);
    if (found != paths.end()) {
        return found->second->path();
    }
    auto compiledPath = std::make_unique<trans::CompiledPath>(expression, resolver);
    if (paths.size() >= maxPaths) {
        paths.clear();
    }
    return paths.emplace(expression, std::move(compiledPath)).first->second->path();
}
