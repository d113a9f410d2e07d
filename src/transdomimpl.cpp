#include "transdomimpl.h"

#include "transassert.h"
#include "transdictionaryimpl.h"
#include "transdomcopy.h"
#include "transdomreference.h"
#include "transplaceholder.h"
#include "transquerystate.h"
#include "transsourcetree.h"
#include "transstringimpl.h"
#include "transutil.h"
#include "transxerces.h"
#include "transxmlchararray.h"
#include "transxmlwriter.h"
#include "transxpathguard.h"
#include "zeltdatasource.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>
#include <xalanc/XPath/NodeRefListBase.hpp>
#include <xalanc/XPath/XObject.hpp>
#include <xalanc/XalanDOM/XalanDocument.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeDOMSupport.hpp>
#include <xalanc/XercesParserLiaison/XercesDocumentWrapper.hpp>
#include <xalanc/XercesParserLiaison/XercesParserLiaison.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

using xalanc::XalanMemMgrs;
using xalanc::XObject;
using xalanc::XObjectPtr;

// ---------------------------------------------------------------------------------------------
// Query state

namespace {

// A UTF-16 string of the units; more than a string can hold is out of memory.
icu::UnicodeString unicodeString(std::u16string const& units) {
    if (units.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) {
        throw std::bad_alloc();
    }
    return icu::UnicodeString(units.data(), static_cast<int32_t>(units.size()));
}

} // namespace

void TransDOMImpl::QueryStateDeleter::operator()(QueryState* state) const noexcept {
    delete state;
}

TransDOMImpl::QueryState& TransDOMImpl::queryState() const {
    if (queries_ == nullptr) {
        trans::SourceTree tree = trans::mirrorDocument(*xercesDocument_);
        xalanc::XalanDocument* const bridged = tree == nullptr ? view() : nullptr;
        queries_.reset(new QueryState(std::move(tree), bridged));
    }
    return *queries_;
}

// ---------------------------------------------------------------------------------------------
// Ownership

void TransDOMImpl::DocumentReleaser::operator()(xercesc::DOMDocument* document) const noexcept {
    if (document != nullptr) {
        document->release();
    }
}

void TransDOMImpl::LiaisonDeleter::operator()(xalanc::XercesParserLiaison* liaison) const noexcept {
    delete liaison;
}

void TransDOMImpl::EvaluatorDeleter::operator()(trans::PathEvaluator* evaluator) const noexcept {
    delete evaluator;
}

void TransDOMImpl::init() {
    parserLiaison_.reset(new xalanc::XercesParserLiaison(XalanMemMgrs::getDefaultXercesMemMgr()));
    parserLiaison_->setThreadSafe(true); // the view is built whole when it is made
    evaluator_.reset(new trans::PathEvaluator());
}

void TransDOMImpl::copyDocument(xercesc::DOMDocument const* source) {
    xercesc::DOMImplementation* implementation = xercesc::DOMImplementation::getImplementation();
    xercesDocument_.reset(
        implementation->createDocument(xercesc::XMLPlatformUtils::fgMemoryManager));
    if (source == nullptr) {
        return;
    }
    xercesc::DOMElement const* element = source->getDocumentElement();
    if (element == nullptr) {
        return;
    }
    xercesc::DOMNode* node = trans::copyTree(*xercesDocument_, *element, ids_);
    TRANS_ASSERT(node && "TransDOMImpl: copy constructor failed.");
    xercesDocument_->appendChild(node);
}

xalanc::XalanDocument* TransDOMImpl::view() const {
    // Made on first need rather than with the value: a value that is only stored, copied or
    // written never pays for it. The document never changes, so the view made later is the same.
    if (dom_ == nullptr) {
        // id() finds an element through the DOM and needs the map back to its view node; the
        // map costs time and memory, so it is made only when the document has ID attributes.
        dom_ = parserLiaison_->createDocument(xercesDocument_.get(), true, true, ids_);
        // One lookup puts the node map's pending associations in its table now, before the view
        // is shared (see transxalangrowth.cpp).
        if (xalanc::XercesDocumentWrapper const* wrapper =
                parserLiaison_->mapDocumentToWrapper(dom_)) {
            wrapper->mapNode(static_cast<xercesc::DOMNode const*>(xercesDocument_.get()));
        }
    }
    return dom_;
}

TransDOMImpl::TransDOMImpl(xercesc::DOMDocument const* document) {
    init();
    copyDocument(document);
}

TransDOMImpl::TransDOMImpl(TransDOMImpl const& other) : TransValueImpl(other) {
    init();
    copyDocument(other.xercesDocument_.get());
    writtenSize_ = other.writtenSize_; // the same document: the same text
}

namespace {

// A generous guess at the length of a data source's dictionary text, from its variables' names,
// labels and counts of value labels and attributes: the first write then makes room once instead
// of doubling its text, which leaves every smaller copy resident in the heap. Room that is made
// and not written costs address space, not memory.
std::size_t dictionaryTextGuess(ZELT_DataSource const& source) {
    std::size_t guess = 4096 + 128 * source.GetAttributes().Size();
    int const count = source.ColumnCount();
    for (int i = 0; i < count; ++i) {
        ZELT_Variable const& variable = source.GetVariable(i);
        char const* label = variable.GetLabel();
        guess += 384 + 2 * std::strlen(variable.GetName()) +
                 2 * (label != nullptr ? std::strlen(label) : 0) +
                 160 * static_cast<std::size_t>(
                           std::max(0, ZELT_ValueLabelMap(variable.GetValueLabels()).Size())) +
                 128 * variable.GetAttributes().Size();
    }
    return guess;
}

} // namespace

TransDOMImpl::TransDOMImpl(ZELT_DataSource const& source) {
    init();
    TransDictionaryImpl builder;
    xercesDocument_.reset(builder.addDictionary(source));
    if (xercesDocument_ == nullptr) {
        copyDocument(nullptr); // the builder could not create a document: hold an empty one
    } else {
        writtenSize_ = dictionaryTextGuess(source);
    }
}

TransDOMImpl::~TransDOMImpl() {
    queries_.reset();       // compiled paths and the source tree first
    parserLiaison_.reset(); // the view goes with the liaison, before the document it wraps
    dom_ = nullptr;
    evaluator_.reset();
}

TransDOMImpl& TransDOMImpl::operator=(TransDOMImpl other) noexcept {
    swap(other);
    return *this;
}

void TransDOMImpl::swap(TransDOMImpl& other) noexcept {
    xercesDocument_.swap(other.xercesDocument_);
    parserLiaison_.swap(other.parserLiaison_);
    std::swap(dom_, other.dom_);
    evaluator_.swap(other.evaluator_);
    queries_.swap(other.queries_);
    std::swap(ids_, other.ids_);
    std::swap(writtenSize_, other.writtenSize_);
}

TransDOMImpl* TransDOMImpl::clone() const {
    return new TransDOMImpl(*this);
}

// ---------------------------------------------------------------------------------------------
// XML text

TransString* TransDOMImpl::writeXML(bool utf16, TransStatus& status) const {
    status.reset();
    std::u16string encoding;
    if (utf16) {
        encoding = TransXMLChArray::UTF16_s;
    } else {
        std::string const codePage = TransUtil::codepage();
        if (codePage.empty()) {
            // No code page to name in the declaration or to write in: nothing can be written.
            return trans::failedString(status);
        }
        TransString const name(codePage.c_str());
        TransStatus c;
        char16_t const* text = name.asUTF16(c);
        TRANS_ASSERT(! c.failure() && ! c.warning());
        encoding = text;
    }

    // Written by our own walk (see transxmlwriter.h): the serializer's text, at any depth.
    trans::XmlText text;
    trans::XmlWriteEnd end = trans::XmlWriteEnd::Raised;
    try {
        end = trans::writeXml(*xercesDocument_, encoding.c_str(), text, writtenSize_);
    } catch (...) {
        // Out of memory: whatever was written before is still handed back, flagged as failed.
    }
    if (end != trans::XmlWriteEnd::Complete) {
        status.failure(true);
    }

    if (end == trans::XmlWriteEnd::Complete) {
        writtenSize_ = text.inUnits ? text.units.size() : text.bytes.size(); // presizes the next
    }
    TransString* result = nullptr;
    if (utf16) {
        if (! text.inUnits) { // UTF-16 in the other byte order would come as bytes
            text.units.resize(text.bytes.size() / sizeof(char16_t));
            std::memcpy(text.units.data(), text.bytes.data(), text.units.size() * sizeof(char16_t));
        }
        result = TransStringImpl::adopt(unicodeString(text.units));
    } else {
        if (text.inUnits) { // a code page named UTF-16: its bytes as the host stores them
            text.bytes.assign(reinterpret_cast<char const*>(text.units.data()),
                              text.units.size() * sizeof(char16_t));
        }
        result = TransStringImpl::adopt(std::move(text.bytes));
    }
    if (result->empty()) {
        status.warning(true);
    }
    return result;
}

TransString* TransDOMImpl::asMBCSXML(TransStatus& status) const {
    return writeXML(false, status);
}

TransString* TransDOMImpl::asUTF16XML(TransStatus& status) const {
    return writeXML(true, status);
}

TransString* TransDOMImpl::asString(TransStatus& status) const {
    status.reset();
    TransString* text = asUTF16XML(status);
    status.warning(true);
    return text;
}

double TransDOMImpl::asDouble(TransStatus& status) const {
    return trans::failedDouble(status);
}

xalanc::XalanDocument* TransDOMImpl::asXalanDocument(TransStatus& status) const {
    status.reset();
    return view();
}

// ---------------------------------------------------------------------------------------------
// XPath queries

namespace {

// Steps shared by the three queries: both query strings must be non-blank. On success the UTF-16
// texts of the untrimmed strings are returned through the pointers.
bool queryArguments(TransString const& context, TransString const& path,
                    char16_t const*& contextText, char16_t const*& pathText, TransStatus& status) {
    status.reset();
    for (TransString const* argument : {&context, &path}) {
        if (argument->empty() || TransString(*argument).trim(status).empty()) {
            status.failure(true);
            return false;
        }
    }
    TransStatus c;
    contextText = context.asUTF16(c);
    TRANS_ASSERT(! c.failure() && ! c.warning());
    TransStatus p;
    pathText = path.asUTF16(p);
    TRANS_ASSERT(! p.failure() && ! p.warning());
    return true;
}

// The result's type, with no result counted as eTypeNull.
XObject::eObjectType resultType(XObjectPtr const& result) {
    return result.null() ? XObject::eTypeNull : result->getType();
}

bool isNoResult(XObject::eObjectType type) {
    return type == XObject::eTypeNull || type == XObject::eTypeUnknown;
}

icu::UnicodeString unicodeText(xalanc::XalanDOMString const& text) {
    return icu::UnicodeString(text.c_str(), static_cast<int32_t>(text.length()));
}

double booleanNumber(XObject const& result) {
    // num() has no number for a boolean; its string value is "true" or "false".
    return std::u16string_view(result.str().c_str()) == u"true" ? 1.0 : 0.0;
}

} // namespace

XObjectPtr TransDOMImpl::evaluateXPath(char16_t const* context, char16_t const* path,
                                       TransStatus& status) const {
    xalanc::XalanDocument* document = view();
    TRANS_ASSERT(dom_);
    std::u16string const contextText = trans::checkedPath(context); // its errors: the caller's
    // A document without an element has only its root, which outlives the result here too.
    xalanc::XalanNode* const root =
        xercesDocument_->getDocumentElement() == nullptr ? queryState().root : document;
    trans::DocumentPrefixes const resolver(document);
    xalanc::XalanSourceTreeDOMSupport domSupport;

    // An exception here (an error in the context path) is the caller's to handle.
    trans::CompiledPath const contextPath(contextText, resolver);
    xalanc::XalanNode* node =
        evaluator_->selectSingleNode(domSupport, root, contextPath.path(), resolver);
    if (node == nullptr) {
        status.failure(true);
        return XObjectPtr();
    }
    XObjectPtr result;
    try {
        trans::CompiledPath const compiledPath(trans::checkedPath(path), resolver);
        result = evaluator_->evaluate(domSupport, node, compiledPath.path(), resolver);
    } catch (...) {
        status.failure(true);
        return XObjectPtr();
    }
    TRANS_ASSERT(result.null() == false);
    return result;
}

XObjectPtr TransDOMImpl::evaluateCached(char16_t const* context, char16_t const* path,
                                        TransStatus& status) const {
    std::u16string const contextText = trans::checkedPath(context); // its errors: the caller's
    QueryState& state = queryState();
    xalanc::XalanNode* node = nullptr;
    if (state.index == nullptr || ! state.index->select(contextText, node)) {
        xalanc::XPath const& contextPath = state.compiled(contextText);
        node =
            evaluator_->selectSingleNode(state.domSupport, state.root, contextPath, state.resolver);
    }
    if (node == nullptr) {
        status.failure(true);
        return XObjectPtr();
    }
    XObjectPtr result;
    try {
        xalanc::XPath const& compiledPath = state.compiled(trans::checkedPath(path));
        result = evaluator_->evaluate(state.domSupport, node, compiledPath, state.resolver);
    } catch (...) {
        status.failure(true);
        return XObjectPtr();
    }
    TRANS_ASSERT(result.null() == false);
    return result;
}

XObjectPtr TransDOMImpl::evaluate(char16_t const* context, char16_t const* path,
                                  TransStatus& status, Evaluation evaluation) const {
    return evaluation == Evaluation::Cached ? evaluateCached(context, path, status)
                                            : evaluateXPath(context, path, status);
}

TransString* TransDOMImpl::queryString(TransString const& context, TransString const& path,
                                       TransStatus& status, Evaluation evaluation) const {
    icu::UnicodeString text;
    char16_t const* contextText = nullptr;
    char16_t const* pathText = nullptr;
    if (queryArguments(context, path, contextText, pathText, status)) {
        XObjectPtr const result = evaluate(contextText, pathText, status, evaluation);
        XObject::eObjectType const type = resultType(result);
        if (isNoResult(type)) {
            status.failure(true);
        } else if (type == XObject::eTypeBoolean || type == XObject::eTypeNumber ||
                   type == XObject::eTypeString) {
            text = unicodeText(result->str());
        } else if (type == XObject::eTypeNodeSet) {
            xalanc::NodeRefListBase const& nodes = result->nodeset();
            if (nodes.getLength() > 0) {
                text = unicodeText(nodes.item(0)->getNodeValue());
            }
            if (nodes.getLength() > 1) {
                status.warning(true);
            }
        } else {
            status.failure(true);
        }
    }
    if (text.isEmpty()) {
        status.warning(true);
    }
    return new TransString(text.getTerminatedBuffer());
}

TransStringList* TransDOMImpl::queryList(TransString const& context, TransString const& path,
                                         TransStatus& status, Evaluation evaluation) const {
    // Owned here until returned: an error in the context path is thrown through this function.
    auto list = std::make_unique<TransStringList>();
    char16_t const* contextText = nullptr;
    char16_t const* pathText = nullptr;
    if (queryArguments(context, path, contextText, pathText, status)) {
        XObjectPtr const result = evaluate(contextText, pathText, status, evaluation);
        XObject::eObjectType const type = resultType(result);
        TransStatus local;
        if (isNoResult(type)) {
            status.failure(true);
        } else if (type == XObject::eTypeBoolean || type == XObject::eTypeNumber ||
                   type == XObject::eTypeString) {
            list->push_back(result->str().c_str(), local);
        } else if (type == XObject::eTypeNodeSet) {
            xalanc::NodeRefListBase const& nodes = result->nodeset();
            for (xalanc::NodeRefListBase::size_type i = 0; i < nodes.getLength(); ++i) {
                list->push_back(nodes.item(i)->getNodeValue().c_str(), local);
            }
        } else {
            status.failure(true);
        }
    }
    if (list->empty()) {
        status.warning(true);
    }
    return list.release();
}

double TransDOMImpl::queryDouble(TransString const& context, TransString const& path,
                                 TransStatus& status, Evaluation evaluation) const {
    double number = TransMissingValue;
    char16_t const* contextText = nullptr;
    char16_t const* pathText = nullptr;
    if (queryArguments(context, path, contextText, pathText, status)) {
        XObjectPtr const result = evaluate(contextText, pathText, status, evaluation);
        XObject::eObjectType const type = resultType(result);
        if (isNoResult(type)) {
            status.failure(true);
        } else if (type == XObject::eTypeBoolean) {
            number = booleanNumber(*result);
        } else if (type == XObject::eTypeNumber) {
            number = result->num();
        } else if (type == XObject::eTypeString) {
            number = TransUtil::UTF16toDouble(unicodeText(result->str()));
        } else if (type == XObject::eTypeNodeSet) {
            xalanc::NodeRefListBase const& nodes = result->nodeset();
            if (nodes.getLength() > 0) {
                number = TransUtil::UTF16toDouble(unicodeText(nodes.item(0)->getNodeValue()));
            }
            if (nodes.getLength() > 1) {
                status.warning(true);
            }
        } else {
            status.failure(true);
        }
    }
    if (number == TransMissingValue) {
        status.warning(true);
    }
    return number;
}

TransString* TransDOMImpl::asString(TransString const& context, TransString const& path,
                                    TransStatus& status) const {
    return queryString(context, path, status, Evaluation::Cached);
}

TransStringList* TransDOMImpl::asStringList(TransString const& context, TransString const& path,
                                            TransStatus& status) const {
    return queryList(context, path, status, Evaluation::Cached);
}

double TransDOMImpl::asDouble(TransString const& context, TransString const& path,
                              TransStatus& status) const {
    return queryDouble(context, path, status, Evaluation::Cached);
}

// ---------------------------------------------------------------------------------------------
// The straightforward evaluation, for comparison

TransString* TransDOMImplReference::asString(TransDOMImpl const& value, TransString const& context,
                                             TransString const& path, TransStatus& status) {
    return value.queryString(context, path, status, TransDOMImpl::Evaluation::Straightforward);
}

TransStringList* TransDOMImplReference::asStringList(TransDOMImpl const& value,
                                                     TransString const& context,
                                                     TransString const& path, TransStatus& status) {
    return value.queryList(context, path, status, TransDOMImpl::Evaluation::Straightforward);
}

double TransDOMImplReference::asDouble(TransDOMImpl const& value, TransString const& context,
                                       TransString const& path, TransStatus& status) {
    return value.queryDouble(context, path, status, TransDOMImpl::Evaluation::Straightforward);
}
