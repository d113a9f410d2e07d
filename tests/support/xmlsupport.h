// XML helpers for the document tests: parse text into a Xerces document the test owns.
// A TransSpace (or the caller's own initialisation) must be alive.
#ifndef XMLSUPPORT_H
#define XMLSUPPORT_H

#include <memory>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>

namespace testing_support {

struct DocumentReleaser {
    void operator()(xercesc::DOMDocument* document) const noexcept;
};
using OwnedDocument = std::unique_ptr<xercesc::DOMDocument, DocumentReleaser>;

// Parses UTF-8 (or self-declared) XML text with namespaces on; fails the test on a parse error.
OwnedDocument parseXml(std::string const& text);

// The document's canonical shape: elements, attributes (sorted), texts, comments and processing
// instructions in document order, as one string, for comparing trees.
std::string treeShape(xercesc::DOMDocument const* document);

} // namespace testing_support

#endif // XMLSUPPORT_H
