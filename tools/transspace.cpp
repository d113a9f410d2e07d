// transspace: builds dictionary documents from data-source files, validates and queries documents,
// for people who debug the library and the data it is given.
#include "transspace.h"
#include "schemavalidator.h"
#include "transdictionaryimpl.h"
#include "transversion.h"
#include "transxerces.h"
#include "xmlfilereader.h"
#include "zeltdatasourcefile.h"
#include "zeltplatform.h"

#include <charconv>
#include <clocale>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <unicode/unistr.h>
#include <vector>
#include <xalanc/PlatformSupport/XSLException.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLUni.hpp>

extern char const exampleSurveyJson[];
extern std::size_t const exampleSurveyJson_size;

namespace {

constexpr int exitClean = 0;
constexpr int exitWarning = 1;
constexpr int exitFailure = 2;

char const* const usage =
    R"usage(usage: transspace [--utf8-mode on|off] [--code-page NAME] COMMAND ...

Commands:
  dict [--validate] [--utf16 | --pretty] (FILE.json | --example)
      Builds the dictionary document of a data source and writes its XML text: in the process
      code page, as UTF-16 bytes with --utf16, or indented UTF-8 for reading with --pretty.
      --validate first validates the text against the built-in dictionary-1.0.xsd and writes
      nothing when it is not valid.
  validate FILE.xml
      Validates a dictionary file against the built-in dictionary-1.0.xsd (nothing is fetched;
      any other schema, DTD or external entity is refused) and prints each error on standard
      error as FILE:LINE:COLUMN: message.
  query [--list | --double] (FILE.json | FILE.xml | --example) CONTEXT PATH
      Evaluates CONTEXT at the document node, PATH at the node it selects, and prints the string,
      every list entry on its own line (--list), or the number (--double).
  --help       this text
  --version    the version

Options before the command:
  --utf8-mode on|off   multibyte text is UTF-8 (on, the default) or in the code page
  --code-page NAME     the code page when UTF-8 mode is off (default: the locale's)

The locale comes from LANG and LC_*. --example uses a built-in survey.

Examples:
  transspace dict --pretty --example
  transspace dict survey.json > survey.xml
  transspace validate survey.xml
  transspace query --example "/dictionary/variable[@name='age']" "attribute::label"
  transspace query --list --example "/dictionary/valueLabelSet[valueLabelVariable/@name='gender']" "valueLabel/@label"
  transspace query --double survey.xml "/dictionary" "count(variable)"
  transspace --utf8-mode off --code-page ISO-8859-1 dict --example

Exit status: 0 a clean answer or a valid document, 1 the warning flag alone (the answer is still
printed), 2 failure (the query's failure flag, a document that is not valid, a usage error, or an
input that cannot be read or is invalid).
)usage";

struct UsageError {
    std::string message;
};

// An error in a query's context path, taken out of the evaluator's exception while the XML
// libraries are still up (the exception's text lives in their memory).
struct ContextPathError {
    std::string message;
};

// The input of a command: a data source (from a file or the built-in example) or an XML file.
struct Input {
    std::optional<ZELT_DataSource> source;
    XmlDocument xml;
};

bool looksLikeXml(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    char c = 0;
    while (file.get(c)) {
        if (c == '<') {
            return true;
        }
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n' &&
            static_cast<unsigned char>(c) < 0x80) {
            return false;
        }
    }
    return false;
}

Input readInput(std::string const& argument, bool xmlAllowed) {
    Input input;
    if (argument == "--example") {
        input.source =
            loadDataSourceJson(std::string(exampleSurveyJson, exampleSurveyJson_size), "example");
    } else if (xmlAllowed && looksLikeXml(argument)) {
        input.xml = readXmlFile(argument);
    } else {
        input.source = loadDataSourceFile(argument);
    }
    return input;
}

void writeBytes(char const* bytes, std::size_t length) {
    std::fwrite(bytes, 1, length, stdout);
}

int statusExit(TransStatus const& status) {
    if (status.failure()) {
        std::fputs("transspace: failure\n", stderr);
        return exitFailure;
    }
    return status.warning() ? exitWarning : exitClean;
}

// Indented UTF-8 text of the dictionary, made with the serializer's pretty-print option; empty
// after a failure, which it reports.
std::string prettyText(ZELT_DataSource const& source) {
    TransDictionaryImpl builder;
    trans::XercesPtr<xercesc::DOMDocument> document(builder.addDictionary(source));
    if (document == nullptr) {
        std::fputs("transspace: failure: the document could not be created\n", stderr);
        return std::string();
    }
    xercesc::DOMImplementation* implementation =
        xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    trans::XercesPtr<xercesc::DOMLSSerializer> serializer(implementation->createLSSerializer());
    trans::XercesPtr<xercesc::DOMLSOutput> output(implementation->createLSOutput());
    xercesc::DOMConfiguration* configuration = serializer->getDomConfig();
    if (configuration->canSetParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
        configuration->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
    }
    output->setEncoding(u"UTF-8");
    xercesc::MemBufFormatTarget target;
    output->setByteStream(&target);
    bool written = false;
    try {
        written = serializer->write(document.get(), output.get());
    } catch (...) {
        written = false;
    }
    if (! written) {
        std::fputs("transspace: failure: the document cannot be written as XML\n", stderr);
        return std::string();
    }
    return std::string(reinterpret_cast<char const*>(target.getRawBuffer()), target.getLen());
}

// The bytes of a UTF-16 text, in the machine's byte order.
std::string utf16Bytes(TransString const& text) {
    char16_t const* units = text.asUTF16();
    return std::string(reinterpret_cast<char const*>(units),
                       std::char_traits<char16_t>::length(units) * sizeof(char16_t));
}

// Prints each error of the document on standard error; true when there is none.
bool printValidationErrors(std::vector<ValidationError> const& errors) {
    for (ValidationError const& error : errors) {
        std::fprintf(stderr, "%s\n", error.text().c_str());
    }
    return errors.empty();
}

int dictCommand(std::vector<std::string> const& arguments) {
    bool utf16 = false;
    bool pretty = false;
    bool validate = false;
    std::vector<std::string> inputs;
    for (std::string const& argument : arguments) {
        if (argument == "--utf16") {
            utf16 = true;
        } else if (argument == "--validate") {
            validate = true;
        } else if (argument == "--pretty") {
            pretty = true;
        } else if (argument != "--example" && argument.rfind("--", 0) == 0) {
            throw UsageError{"dict: unknown option " + argument};
        } else {
            inputs.push_back(argument);
        }
    }
    if (utf16 && pretty) {
        throw UsageError{"dict: --utf16 and --pretty exclude each other"};
    }
    if (inputs.size() != 1) {
        throw UsageError{"dict: expected one input, FILE.json or --example"};
    }
    Input const input = readInput(inputs.front(), false);
    std::string bytes;
    TransStatus status;
    if (pretty) {
        bytes = prettyText(*input.source);
        if (bytes.empty()) {
            return exitFailure;
        }
    } else {
        TransValue const value(*input.source);
        std::unique_ptr<TransString> text(utf16 ? value.asUTF16XML(status)
                                                : value.asMBCSXML(status));
        if (status.failure()) {
            // A text the writer could not finish is not handed out as if it were whole.
            std::fputs("transspace: failure: the document cannot be written as XML\n", stderr);
            return exitFailure;
        }
        bytes = utf16 ? utf16Bytes(*text) : std::string(text->asMBCS());
    }
    if (validate) {
        std::string const name = inputs.front() == "--example" ? "example" : inputs.front();
        DictionaryValidator validator;
        if (! printValidationErrors(validator.validate(bytes, name + " (dictionary)"))) {
            std::fputs("transspace: dict: the document is not valid; nothing is written\n", stderr);
            return exitFailure;
        }
    }
    writeBytes(bytes.data(), bytes.size());
    return statusExit(status);
}

int validateCommand(std::vector<std::string> const& arguments) {
    if (arguments.size() != 1 || arguments.front().rfind("--", 0) == 0) {
        throw UsageError{"validate: expected one input, FILE.xml"};
    }
    DictionaryValidator validator;
    if (! printValidationErrors(validator.validateFile(arguments.front()))) {
        return exitFailure;
    }
    std::printf("%s: valid\n", arguments.front().c_str());
    return exitClean;
}

std::string shortestDouble(double number) {
    char buffer[64];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, number);
    return std::string(buffer, result.ptr);
}

int queryCommand(std::vector<std::string> const& arguments) {
    enum class Kind { String, List, Double } kind = Kind::String;
    std::vector<std::string> positional;
    for (std::string const& argument : arguments) {
        if (argument == "--list" || argument == "--double") {
            if (kind != Kind::String) {
                throw UsageError{"query: --list and --double exclude each other"};
            }
            kind = argument == "--list" ? Kind::List : Kind::Double;
        } else if (positional.empty() && argument != "--example" && argument.rfind("--", 0) == 0) {
            throw UsageError{"query: unknown option " + argument};
        } else {
            positional.push_back(argument);
        }
    }
    if (positional.size() != 3) {
        throw UsageError{"query: expected an input (FILE.json, FILE.xml or --example), CONTEXT and "
                         "PATH"};
    }
    Input const input = readInput(positional[0], true);
    TransValue const value =
        input.xml != nullptr ? TransValue(input.xml.get()) : TransValue(*input.source);
    TransString const context(positional[1].c_str());
    TransString const path(positional[2].c_str());
    TransStatus status;
    switch (kind) {
    case Kind::String: {
        std::unique_ptr<TransString> result(value.asString(context, path, status));
        if (! status.failure()) {
            std::printf("%s\n", result->asMBCS());
        }
        break;
    }
    case Kind::List: {
        std::unique_ptr<TransStringList> result(value.asStringList(context, path, status));
        for (unsigned long i = 0; ! status.failure() && i < result->size(); ++i) {
            std::printf("%s\n", result->asMBCS(i));
        }
        break;
    }
    case Kind::Double: {
        double const number = value.asDouble(context, path, status);
        if (! status.failure()) {
            std::printf("%s\n", shortestDouble(number).c_str());
        }
        break;
    }
    }
    return statusExit(status);
}

std::string xalanMessage(xalanc::XSLException const& exception) {
    return utf8Text(exception.getMessage().c_str());
}

int run(std::vector<std::string> arguments) {
    std::size_t next = 0;
    while (next < arguments.size()) {
        std::string const& option = arguments[next];
        if (option == "--utf8-mode" || option == "--code-page") {
            if (next + 1 >= arguments.size()) {
                throw UsageError{option + " needs a value"};
            }
            std::string const& setting = arguments[next + 1];
            if (option == "--code-page") {
                ZELTSetMBDefaultCodePage(setting);
            } else if (setting == "on" || setting == "off") {
                ZELTSetUTF8mode(setting == "on" ? 1 : 0);
            } else {
                throw UsageError{"--utf8-mode takes on or off"};
            }
            next += 2;
        } else {
            break;
        }
    }
    if (next >= arguments.size()) {
        throw UsageError{"no command"};
    }
    std::string const command = arguments[next];
    std::vector<std::string> const rest(arguments.begin() + static_cast<long>(next) + 1,
                                        arguments.end());
    if (command == "--help" || command == "-h") {
        std::fputs(usage, stdout);
        return exitClean;
    }
    if (command == "--version") {
        std::printf("transspace %s\n", transVersion());
        return exitClean;
    }
    if (command != "dict" && command != "query" && command != "validate") {
        throw UsageError{"unknown command " + command};
    }
    TransSpace const space; // brings the XML libraries up for the documents below
    try {
        if (command == "validate") {
            return validateCommand(rest);
        }
        return command == "dict" ? dictCommand(rest) : queryCommand(rest);
    } catch (xalanc::XSLException const& error) {
        throw ContextPathError{xalanMessage(error)};
    }
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    std::vector<std::string> const arguments(argv + 1, argv + argc);
    try {
        return run(arguments);
    } catch (UsageError const& error) {
        std::fprintf(stderr, "transspace: %s\n(transspace --help shows the usage)\n",
                     error.message.c_str());
    } catch (DataSourceFileError const& error) {
        std::fprintf(stderr, "transspace: %s\n", error.what());
    } catch (XmlFileError const& error) {
        std::fprintf(stderr, "transspace: %s\n", error.what());
    } catch (ContextPathError const& error) {
        std::fprintf(stderr, "transspace: error in the context path: %s\n", error.message.c_str());
    } catch (std::exception const& error) {
        std::fprintf(stderr, "transspace: %s\n", error.what());
    }
    return exitFailure;
}
