// Reads an XML file into a Xerces document for querying: namespaces on, no validation, no DTD or
// external entity loading, and limits on entity expansion and nesting. The XML libraries must be
// initialised.
#ifndef XMLFILEREADER_H
#define XMLFILEREADER_H

#include <memory>
#include <stdexcept>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>

// A file that cannot be read or is not well-formed XML; what() is one line, "FILE:LINE:COLUMN:
// what is wrong" where a position is known.
class XmlFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct XmlDocumentReleaser {
    void operator()(xercesc::DOMDocument* document) const noexcept;
};
using XmlDocument = std::unique_ptr<xercesc::DOMDocument, XmlDocumentReleaser>;

// Expanding more entity references than this is refused (an expansion bomb).
constexpr unsigned xmlEntityExpansionLimit = 10000;
// Elements nested deeper than this are refused: the parser's cost grows with the square of the
// depth, and the library writes no document deeper than this either.
constexpr unsigned xmlNestingLimit = 4096;

// The whole content of a file, or of standard input for "-"; throws XmlFileError
// "NAME: system reason" when it cannot be read.
std::string readInputFile(std::string const& path);
// How a file is named in messages: "(standard input)" for "-", else the path as given.
std::string inputName(std::string const& path);

// Reads and parses the file ("-": standard input).
XmlDocument readXmlFile(std::string const& path);

// UTF-8 text of the XML libraries' UTF-16 text (messages, names); empty for a null pointer.
std::string utf8Text(XMLCh const* text);
// How the reader links the nodes it makes: directly where it can, or all through the DOM parser's
// own calls. Both give the same document; the second is the yardstick of the first.
enum class NodeLinks { Direct, Parser };

// The same for XML text in memory, named `name` in messages.
XmlDocument readXmlText(std::string const& text, std::string const& name,
                        NodeLinks links = NodeLinks::Direct);

#endif // XMLFILEREADER_H
