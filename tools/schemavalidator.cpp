#include "schemavalidator.h"

#include "xmlfilereader.h"

#include <stdexcept>
#include <unicode/unistr.h>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/Grammar.hpp>

// Generated at build time from schema/dictionary-1.0.xsd.
extern char const dictionarySchemaXsd[];
extern std::size_t const dictionarySchemaXsd_size;

char const dictionarySchemaLocation[] = "http://xml.zelt.com/zelt/data/dictionary-1.0.xsd";

std::string_view dictionarySchemaText() {
    return std::string_view(dictionarySchemaXsd, dictionarySchemaXsd_size);
}

std::string ValidationError::text() const {
    return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
}

namespace {

using xercesc::XMLUni;

// Collects the errors of one document with their positions; warnings are not errors.
class ErrorCollector : public xercesc::DefaultHandler {
public:
    void start(std::string name) {
        name_ = std::move(name);
        errors_.clear();
        locator_ = nullptr;
    }

    std::vector<ValidationError> take() { return std::move(errors_); }
    bool empty() const noexcept { return errors_.empty(); }

    // An error at the parser's current position.
    void add(std::string message) {
        unsigned long long const line = locator_ != nullptr ? locator_->getLineNumber() : 0;
        unsigned long long const column = locator_ != nullptr ? locator_->getColumnNumber() : 0;
        errors_.push_back(ValidationError{name_, line, column, std::move(message)});
    }

    void setDocumentLocator(xercesc::Locator const* locator) override { locator_ = locator; }
    void warning(xercesc::SAXParseException const&) override {}
    void error(xercesc::SAXParseException const& exception) override { keep(exception); }
    void fatalError(xercesc::SAXParseException const& exception) override { keep(exception); }
    void resetErrors() override {}

private:
    void keep(xercesc::SAXParseException const& exception) {
        errors_.push_back(ValidationError{name_, exception.getLineNumber(),
                                          exception.getColumnNumber(),
                                          utf8Text(exception.getMessage())});
    }

    std::string name_;
    std::vector<ValidationError> errors_;
    xercesc::Locator const* locator_ = nullptr;
};

bool isSchema(xercesc::XMLResourceIdentifier::ResourceIdentifierType type) noexcept {
    using Id = xercesc::XMLResourceIdentifier;
    return type == Id::SchemaGrammar || type == Id::SchemaImport || type == Id::SchemaInclude ||
           type == Id::SchemaRedefine;
}

// Maps the dictionary schema's location to the built-in copy and refuses everything else: another
// schema is not loaded, an external entity or DTD gets empty content, and each refusal is an error.
class BuiltInSchemaOnly : public xercesc::XMLEntityResolver {
public:
    explicit BuiltInSchemaOnly(ErrorCollector& errors) : errors_(errors) {}

    xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override {
        std::string const location = utf8Text(resource->getSystemId());
        bool const schema = isSchema(resource->getResourceIdentifierType());
        // The parser takes ownership of the input sources returned.
        if (schema && location == dictionarySchemaLocation) {
            return new xercesc::MemBufInputSource(
                reinterpret_cast<XMLByte const*>(dictionarySchemaXsd), dictionarySchemaXsd_size,
                dictionarySchemaLocation);
        }
        if (schema) {
            errors_.add("schema \"" + location +
                        "\" is not loaded: only the built-in dictionary-1.0.xsd is used");
            return nullptr;
        }
        errors_.add("external entity \"" + location + "\" is not loaded");
        static XMLByte const nothing = 0;
        return new xercesc::MemBufInputSource(&nothing, 0, resource->getSystemId());
    }

private:
    ErrorCollector& errors_;
};

} // namespace

struct DictionaryValidator::Parts {
    ErrorCollector errors;
    BuiltInSchemaOnly resolver{errors};
    xercesc::SecurityManager security;
    // Declared last: the reader refers to the parts above and goes first.
    std::unique_ptr<xercesc::SAX2XMLReaderImpl> reader;
};

DictionaryValidator::DictionaryValidator() : parts_(std::make_unique<Parts>()) {
    parts_->security.setEntityExpansionLimit(xmlEntityExpansionLimit);
    parts_->reader = std::make_unique<xercesc::SAX2XMLReaderImpl>();
    xercesc::SAX2XMLReaderImpl& reader = *parts_->reader;
    reader.setFeature(XMLUni::fgSAX2CoreNameSpaces, true);
    reader.setFeature(XMLUni::fgSAX2CoreValidation, true);
    reader.setFeature(XMLUni::fgXercesDynamic, false); // validate every document
    reader.setFeature(XMLUni::fgXercesSchema, true);
    reader.setFeature(XMLUni::fgXercesSchemaFullChecking, true);
    reader.setFeature(XMLUni::fgXercesSkipDTDValidation, true);
    reader.setFeature(XMLUni::fgXercesLoadExternalDTD, false);
    reader.setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
    reader.setFeature(XMLUni::fgXercesUseCachedGrammarInParse, true);
    reader.setFeature(XMLUni::fgXercesCacheGrammarFromParse, false);
    reader.setProperty(XMLUni::fgXercesSecurityManager, &parts_->security);
    reader.setXMLEntityResolver(&parts_->resolver);
    reader.setErrorHandler(&parts_->errors);
    reader.setContentHandler(&parts_->errors);

    parts_->errors.start(dictionarySchemaLocation);
    xercesc::MemBufInputSource schema(reinterpret_cast<XMLByte const*>(dictionarySchemaXsd),
                                      dictionarySchemaXsd_size, dictionarySchemaLocation);
    xercesc::Grammar* grammar = nullptr;
    try {
        grammar = reader.loadGrammar(schema, xercesc::Grammar::SchemaGrammarType, true);
    } catch (xercesc::XMLException const& exception) {
        parts_->errors.add(utf8Text(exception.getMessage()));
    }
    if (grammar == nullptr || ! parts_->errors.empty()) {
        std::string message = "the built-in dictionary-1.0.xsd cannot be loaded";
        for (ValidationError const& error : parts_->errors.take()) {
            message += "\n" + error.text();
        }
        throw std::runtime_error(message);
    }
}

DictionaryValidator::~DictionaryValidator() = default;

std::vector<ValidationError> DictionaryValidator::validate(std::string_view bytes,
                                                           std::string const& name) {
    parts_->errors.start(name);
    xercesc::MemBufInputSource input(reinterpret_cast<XMLByte const*>(bytes.data()), bytes.size(),
                                     name.c_str());
    try {
        parts_->reader->parse(input);
    } catch (xercesc::XMLException const& exception) {
        parts_->errors.add(utf8Text(exception.getMessage()));
    } catch (xercesc::SAXParseException const& exception) {
        parts_->errors.fatalError(exception);
    }
    return parts_->errors.take();
}

std::vector<ValidationError> DictionaryValidator::validateFile(std::string const& path) {
    return validate(readInputFile(path), inputName(path));
}
