// Validates dictionary documents against dictionary-1.0.xsd, the schema built into the program.
// Nothing is ever fetched: the schema is loaded from memory, a schema location in a document only
// maps to that copy, and any other schema, DTD or external entity that a document names is refused
// with an error. The XML libraries must be initialised while a validator exists.
#ifndef SCHEMAVALIDATOR_H
#define SCHEMAVALIDATOR_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The text of dictionary-1.0.xsd as built into the program.
std::string_view dictionarySchemaText();

// Where documents say the schema is; the validator maps this location to the built-in copy.
extern char const dictionarySchemaLocation[];

// One error in a document, with the position where the parser found it.
struct ValidationError {
    std::string file;
    unsigned long long line = 0;
    unsigned long long column = 0;
    std::string message;

    // "FILE:LINE:COLUMN: message".
    std::string text() const;
};

class DictionaryValidator {
public:
    // Loads the built-in schema; throws std::runtime_error when the schema itself is broken.
    DictionaryValidator();
    ~DictionaryValidator();
    DictionaryValidator(DictionaryValidator const&) = delete;
    DictionaryValidator& operator=(DictionaryValidator const&) = delete;

    // Validates the bytes of an XML document (encoding as declared, or detected), named `name` in
    // the errors. Returns every error found; none means the document is valid. A document that is
    // not well-formed gives its first fatal error.
    std::vector<ValidationError> validate(std::string_view bytes, std::string const& name);

    // The same for a file; throws XmlFileError (xmlfilereader.h) when it cannot be read.
    std::vector<ValidationError> validateFile(std::string const& path);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

#endif // SCHEMAVALIDATOR_H
