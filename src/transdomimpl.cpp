#include "transdomimpl.h"

#include "transassert.h"
#include "transdictionaryimpl.h"
#include "transplaceholder.h"
#include "transutil.h"
#include "transxerces.h"
#include "transxmlchararray.h"

#include <cstring>
#include <string>
#include <string_view>
#include <xalanc/DOMSupport/XalanDocumentPrefixResolver.hpp>
#include <xalanc/XPath/NodeRefListBase.hpp>
#include <xalanc/XPath/XObject.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>
#include <xalanc/XalanDOM/XalanDocument.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeDOMSupport.hpp>
#include <xalanc/XercesParserLiaison/XercesParserLiaison.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

using xalanc::XalanMemMgrs;
using xalanc::XObject;
using xalanc::XObjectPtr;

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

void TransDOMImpl::EvaluatorDeleter::operator()(xalanc::XPathEvaluator* evaluator) const noexcept {
    delete evaluator;
}

void TransDOMImpl::init() {
    parserLiaison_.reset(new xalanc::XercesParserLiaison(XalanMemMgrs::getDefaultXercesMemMgr()));
    parserLiaison_->setThreadSafe(true); // also builds the whole wrapper and bridge up front
    evaluator_.reset(new xalanc::XPathEvaluator(XalanMemMgrs::getDefaultXercesMemMgr()));
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
    xercesc::DOMNode* node = xercesDocument_->importNode(element, true);
    TRANS_ASSERT(node && "TransDOMImpl: copy constructor failed.");
    xercesDocument_->appendChild(node);
}

void TransDOMImpl::wrapDocument() {
    dom_ = parserLiaison_->createDocument(xercesDocument_.get());
}

TransDOMImpl::TransDOMImpl(xercesc::DOMDocument const* document) {
    init();
    copyDocument(document);
    wrapDocument();
}

TransDOMImpl::TransDOMImpl(TransDOMImpl const& other) : TransValueImpl(other) {
    init();
    copyDocument(other.xercesDocument_.get());
    wrapDocument();
}

TransDOMImpl::TransDOMImpl(ZELT_DataSource const& source) {
    init();
    TransDictionaryImpl builder;
    xercesDocument_.reset(builder.addDictionary(source));
    if (xercesDocument_ == nullptr) {
        copyDocument(nullptr); // the builder could not create a document: hold an empty one
    }
    wrapDocument();
}

TransDOMImpl::~TransDOMImpl() {
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

    xercesc::DOMImplementation* implementation =
        xercesc::DOMImplementationRegistry::getDOMImplementation(TransXMLChArray::LS_s);
    trans::XercesPtr<xercesc::DOMLSSerializer> serializer(
        implementation->createLSSerializer(xercesc::XMLPlatformUtils::fgMemoryManager));
    trans::XercesPtr<xercesc::DOMLSOutput> output(
        implementation->createLSOutput(xercesc::XMLPlatformUtils::fgMemoryManager));
    xercesc::DOMConfiguration* configuration = serializer->getDomConfig();
    if (configuration->canSetParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, false)) {
        configuration->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, false);
    }
    output->setEncoding(encoding.c_str());
    xercesc::MemBufFormatTarget target(1023, xercesc::XMLPlatformUtils::fgMemoryManager);
    output->setByteStream(&target);
    try {
        serializer->write(xercesDocument_.get(), output.get());
    } catch (...) {
        // Whatever was written before the error is still handed back, flagged as failed.
        status.failure(true);
    }

    XMLByte const* bytes = target.getRawBuffer();
    std::size_t const length = target.getLen();
    TransString* result = nullptr;
    if (utf16) {
        std::u16string text(length / 2, u'\0');
        std::memcpy(text.data(), bytes, text.size() * sizeof(char16_t));
        result = new TransString(text.c_str());
    } else {
        std::string const text(reinterpret_cast<char const*>(bytes), length);
        result = new TransString(text.c_str());
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
    return dom_;
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
    XObjectPtr result;
    TRANS_ASSERT(dom_);
    xalanc::XalanDocumentPrefixResolver const resolver(
        dom_, xalanc::XalanDOMString(XalanMemMgrs::getDefaultXercesMemMgr()),
        XalanMemMgrs::getDefaultXercesMemMgr());
    xalanc::XalanSourceTreeDOMSupport domSupport;

    if (xercesDocument_->getDocumentElement() == nullptr) {
        // The evaluator crashes on absolute paths over a document without an element. Such a
        // document has no node to select: the context path is only parsed, so that its syntax
        // errors still reach the caller, and selects nothing.
        xalanc::XPath* compiled = evaluator_->createXPath(context, resolver);
        evaluator_->destroyXPath(compiled);
        status.failure(true);
        return result;
    }

    // An exception here (an error in the context path) is the caller's to handle.
    xalanc::XalanNode* node = evaluator_->selectSingleNode(domSupport, dom_, context, resolver);
    if (node == nullptr) {
        status.failure(true);
        return result;
    }
    try {
        result = evaluator_->evaluate(domSupport, node, path, resolver);
    } catch (...) {
        status.failure(true);
        return XObjectPtr();
    }
    TRANS_ASSERT(result.null() == false);
    return result;
}

TransString* TransDOMImpl::asString(TransString const& context, TransString const& path,
                                    TransStatus& status) const {
    icu::UnicodeString text;
    char16_t const* contextText = nullptr;
    char16_t const* pathText = nullptr;
    if (queryArguments(context, path, contextText, pathText, status)) {
        XObjectPtr const result = evaluateXPath(contextText, pathText, status);
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

TransStringList* TransDOMImpl::asStringList(TransString const& context, TransString const& path,
                                            TransStatus& status) const {
    auto* list = new TransStringList();
    char16_t const* contextText = nullptr;
    char16_t const* pathText = nullptr;
    if (queryArguments(context, path, contextText, pathText, status)) {
        XObjectPtr const result = evaluateXPath(contextText, pathText, status);
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
    return list;
}

double TransDOMImpl::asDouble(TransString const& context, TransString const& path,
                              TransStatus& status) const {
    double number = TransMissingValue;
    char16_t const* contextText = nullptr;
    char16_t const* pathText = nullptr;
    if (queryArguments(context, path, contextText, pathText, status)) {
        XObjectPtr const result = evaluateXPath(contextText, pathText, status);
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
