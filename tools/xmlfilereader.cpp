#include "xmlfilereader.h"

#include "transdomlinks.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unicode/unistr.h>
#include <unistd.h>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMAttrMapImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLValidator.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLException.hpp>

void XmlDocumentReleaser::operator()(xercesc::DOMDocument* document) const noexcept {
    if (document != nullptr) {
        document->release();
    }
}

std::string utf8Text(XMLCh const* text) {
    std::string result;
    if (text != nullptr) {
        icu::UnicodeString(text).toUTF8String(result);
    }
    return result;
}

namespace {

// Keeps the first error with its position; warnings are ignored.
class FirstError : public xercesc::ErrorHandler {
public:
    explicit FirstError(std::string name) : name_(std::move(name)) {}

    void warning(xercesc::SAXParseException const&) override {}
    void error(xercesc::SAXParseException const& exception) override { keep(exception); }
    void fatalError(xercesc::SAXParseException const& exception) override { keep(exception); }
    void resetErrors() override { message_.clear(); }

    std::string const& message() const noexcept { return message_; }

private:
    void keep(xercesc::SAXParseException const& exception) {
        if (message_.empty()) {
            message_ = name_ + ":" + std::to_string(exception.getLineNumber()) + ":" +
                       std::to_string(exception.getColumnNumber()) + ": " +
                       utf8Text(exception.getMessage());
        }
    }

    std::string name_;
    std::string message_;
};

// Gives every external entity or DTD empty content, so that nothing is ever fetched, and keeps
// the first one asked for: a document that needs one is refused after parsing.
class NoExternalEntities : public xercesc::EntityResolver {
public:
    xercesc::InputSource* resolveEntity(XMLCh const*, XMLCh const* systemId) override {
        if (refused_.empty()) {
            refused_ = utf8Text(systemId);
            if (refused_.empty()) {
                refused_ = "(no system identifier)";
            }
        }
        static XMLByte const nothing = 0;
        return new xercesc::MemBufInputSource(&nothing, 0, systemId != nullptr ? systemId : u"");
    }

    std::string const& refused() const noexcept { return refused_; }

private:
    std::string refused_;
};

// A DOM parser that stops at the first element nested deeper than xmlNestingLimit and reads
// CDATA sections as text. With direct links it builds the document the DOM parser builds, but
// links elements, attribute values and texts below an element itself (the parser's own links
// cast every node they touch, which is most of the cost of reading a large file); elements with
// DTD-declared defaults or types, and the document element, take the parser's way.
class NestingLimitedParser : public xercesc::XercesDOMParser {
public:
    NestingLimitedParser(std::string name, NodeLinks links)
        : name_(std::move(name)), direct_(links == NodeLinks::Direct) {}

    void startElement(xercesc::XMLElementDecl const& declaration, unsigned int urlId,
                      XMLCh const* prefix, xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes,
                      XMLSize_t count, bool isEmpty, bool isRoot) override {
        if (depth_ == xmlNestingLimit) {
            xercesc::Locator const* where = getScanner()->getLocator();
            throw XmlFileError(name_ + ":" + std::to_string(where->getLineNumber()) + ":" +
                               std::to_string(where->getColumnNumber()) +
                               ": elements are nested deeper than " +
                               std::to_string(xmlNestingLimit) + " levels");
        }
        if (! isEmpty) {
            ++depth_;
        }
        if (direct_ && linksDirectly(declaration, attributes, count)) {
            startElementDirectly(declaration, urlId, prefix, attributes, count);
            if (isEmpty) {
                endElement(declaration, urlId, isRoot, prefix);
            }
            return;
        }
        XercesDOMParser::startElement(declaration, urlId, prefix, attributes, count, isEmpty,
                                      isRoot);
    }

    // A CDATA section is text, as XPath's data model has it: merged with the text around it.
    void docCharacters(XMLCh const* chars, XMLSize_t length, bool cdataSection) override {
        if (length == 0 && cdataSection) {
            return;
        }
        if (direct_ && fWithinElement &&
            fCurrentNode->getNodeType() != xercesc::DOMNode::TEXT_NODE &&
            fCurrentParent->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            xercesc::DOMText* text = createText(chars, length);
            trans::appendNewChild(*fCurrentParent, *text);
            fCurrentNode = text;
            return;
        }
        XercesDOMParser::docCharacters(chars, length, false);
    }

    void endElement(xercesc::XMLElementDecl const& declaration, unsigned int urlId, bool isRoot,
                    XMLCh const* prefix) override {
        --depth_;
        if (direct_ && ! fDoXInclude) {
            // As the parser's endElement, with the parent read directly.
            fCurrentNode = fCurrentParent;
            fCurrentParent = trans::parentOf(*fCurrentNode);
            if (fCurrentParent == nullptr && fDocument != nullptr) {
                fCurrentNode = fDocument->getDocumentElement();
                fCurrentParent = fCurrentNode;
            }
            if (fCurrentParent == fDocument) {
                fWithinElement = false;
            }
            return;
        }
        XercesDOMParser::endElement(declaration, urlId, isRoot, prefix);
    }

private:
    // Whether the element is linked directly: below an element, with namespaces on, and without
    // DTD defaults, typed attributes, type information or inclusions to process.
    bool linksDirectly(xercesc::XMLElementDecl const& declaration,
                       xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes,
                       XMLSize_t count) const {
        if (! fScanner->getDoNamespaces() || fCreateSchemaInfo || fDoXInclude ||
            declaration.hasAttDefs() || fCurrentParent == fDocument ||
            fCurrentParent->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) {
            return false;
        }
        for (XMLSize_t i = 0; i < count; ++i) {
            if (attributes.elementAt(i)->getType() != xercesc::XMLAttDef::CData) {
                return false;
            }
        }
        return true;
    }

    // The parser's startElement for such an element, up to the end of an empty one.
    void startElementDirectly(xercesc::XMLElementDecl const& declaration, unsigned int urlId,
                              XMLCh const* prefix,
                              xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes,
                              XMLSize_t count) {
        XMLCh const* localName = declaration.getBaseName();
        XMLCh const* uri = nullptr;
        xercesc::DOMElement* element = nullptr;
        if (urlId != fScanner->getEmptyNamespaceId()) {
            uri = fScanner->getURIText(urlId);
        }
        if (uri != nullptr && prefix != nullptr && *prefix != 0) {
            std::u16string const qualified = std::u16string(prefix) + u':' + localName;
            element = createElementNS(uri, prefix, localName, qualified.c_str());
        } else {
            element = createElementNS(uri, nullptr, localName, localName);
        }
        if (count > 0) {
            xercesc::DOMAttrMapImpl* map =
                static_cast<xercesc::DOMElementImpl*>(element)->fAttributes;
            map->reserve(count);
            for (XMLSize_t i = 0; i < count; ++i) {
                xercesc::XMLAttr const* attribute = attributes.elementAt(i);
                unsigned int uriId = attribute->getURIId();
                XMLCh const* attributePrefix = attribute->getPrefix();
                if ((attributePrefix == nullptr || *attributePrefix == 0) &&
                    xercesc::XMLString::equals(attribute->getName(),
                                               xercesc::XMLUni::fgXMLNSString)) {
                    uriId = fScanner->getXMLNSNamespaceId(); // xmlns="..."
                }
                XMLCh const* attributeUri = uriId != fScanner->getEmptyNamespaceId()
                                                ? fScanner->getURIText(uriId)
                                                : nullptr;
                xercesc::DOMAttr* made = createAttrNS(attributeUri, attributePrefix,
                                                      attribute->getName(), attribute->getQName());
                map->setNamedItemNSFast(made);
                trans::setNewValue(*made, attribute->getValue());
                static_cast<xercesc::DOMAttrImpl*>(made)->setSpecified(attribute->getSpecified());
            }
        }
        trans::appendNewChild(*fCurrentParent, *element);
        fCurrentParent = element;
        fCurrentNode = element;
        fWithinElement = true;
    }

    std::string name_;
    bool direct_;
    unsigned depth_ = 0;
};

} // namespace

XmlDocument readXmlText(std::string const& text, std::string const& name, NodeLinks links) {
    NestingLimitedParser parser(name, links);
    parser.setDoNamespaces(true);
    parser.setValidationScheme(xercesc::XercesDOMParser::Val_Never);
    parser.setDoSchema(false);
    parser.setLoadExternalDTD(false);
    parser.setSkipDTDValidation(true);
    parser.setDisableDefaultEntityResolution(true);
    parser.setCreateEntityReferenceNodes(false);
    xercesc::SecurityManager security;
    security.setEntityExpansionLimit(xmlEntityExpansionLimit);
    parser.setSecurityManager(&security);
    NoExternalEntities resolver;
    parser.setEntityResolver(&resolver);
    FirstError errors(name);
    parser.setErrorHandler(&errors);

    xercesc::MemBufInputSource input(reinterpret_cast<XMLByte const*>(text.data()), text.size(),
                                     name.c_str());
    try {
        parser.parse(input);
    } catch (xercesc::XMLException const& exception) {
        throw XmlFileError(name + ": " + utf8Text(exception.getMessage()));
    } catch (xercesc::SAXParseException const& exception) {
        errors.fatalError(exception);
    } catch (xercesc::DOMException const& exception) {
        // The DOM builder refuses what the scanner let through, such as the version "1." in
        // the XML declaration.
        throw XmlFileError(name + ": " + utf8Text(exception.getMessage()));
    }
    if (! errors.message().empty() || parser.getErrorCount() != 0) {
        throw XmlFileError(errors.message().empty() ? name + ": not well-formed XML"
                                                    : errors.message());
    }
    if (! resolver.refused().empty()) {
        throw XmlFileError(name + ": external entity \"" + resolver.refused() + "\" is not loaded");
    }
    XmlDocument document(parser.adoptDocument());
    if (document == nullptr || document->getDocumentElement() == nullptr) {
        throw XmlFileError(name + ": no root element");
    }
    return document;
}

std::string inputName(std::string const& path) {
    return path == "-" ? "(standard input)" : path;
}

std::string readInputFile(std::string const& path) {
    bool const standardInput = path == "-";
    int const descriptor =
        standardInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw XmlFileError(inputName(path) + ": " + std::strerror(errno));
    }
    std::string contents;
    // A regular file is read into room made for its size at once; standard input or a pipe grows.
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        contents.reserve(static_cast<std::size_t>(status.st_size));
    }
    char buffer[65536];
    ssize_t count = 0;
    while ((count = ::read(descriptor, buffer, sizeof buffer)) != 0) {
        if (count > 0) {
            contents.append(buffer, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            break;
        }
    }
    int const error = errno;
    if (! standardInput) {
        ::close(descriptor);
    }
    if (count < 0) {
        throw XmlFileError(inputName(path) + ": " + std::strerror(error));
    }
    return contents;
}

XmlDocument readXmlFile(std::string const& path) {
    return readXmlText(readInputFile(path), inputName(path));
}
