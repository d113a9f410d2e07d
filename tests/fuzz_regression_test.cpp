// Inputs the fuzz targets (fuzz/) found to crash or leak, each kept as a case of its own.
#include "testsupport.h"
#include "transspace.h"
#include "xmlfilereader.h"
#include "xmlsupport.h"
#include "zeltdatasourcefile.h"

#include <gtest/gtest.h>
#include <string>
#include <xalanc/PlatformSupport/XSLException.hpp>

using testing_support::parseXml;

namespace {

// The message of the exception that f throws as E; empty (and the test failed) when it does not.
template <typename E, typename F>
std::string messageOf(F const& f) {
    try {
        f();
    } catch (E const& error) {
        return error.what();
    }
    ADD_FAILURE() << "no exception";
    return std::string();
}

bool startsWith(std::string const& text, std::string const& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

// The DOM builder raised its own exception for an XML declaration whose version it does not
// support; the reader let it escape instead of reporting a read error.
TEST(FuzzRegression, XmlReaderRefusesUnsupportedVersionsAsReadErrors) {
    TransSpace space;
    for (char const* text : {R"(<?xml version="1."?><a/>)", R"(<?xml version="1.5"?><a/>)"}) {
        std::string const message = messageOf<XmlFileError>([&] { readXmlText(text, "doc.xml"); });
        EXPECT_TRUE(startsWith(message, "doc.xml: ")) << text << ": " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
    EXPECT_NE(readXmlText(R"(<?xml version="1.1"?><a/>)", "doc.xml"), nullptr);
}

// A number beyond the range of a double is well-formed JSON that the JSON library still refuses,
// with an exception of another kind than its syntax errors; it escaped the loader.
TEST(FuzzRegression, JsonNumbersOutOfRangeAreFileErrors) {
    for (char const* text : {R"({"rowCount": 1e30000})", R"({"timestamp": -1e400})",
                             R"({"variables": [{"name": "a", "valueLabels": [[1e999, "x"]]}]})"}) {
        std::string const message =
            messageOf<DataSourceFileError>([&] { loadDataSourceJson(text, "survey.json"); });
        EXPECT_TRUE(startsWith(message, "survey.json: invalid JSON: number overflow")) << message;
    }
}

// A list query whose context path is in error threw before handing over the list it had already
// made, leaking it (seen by the leak checkers: the asan preset and scripts/valgrind.sh).
TEST(FuzzRegression, ListQueryWithBadContextThrowsWithoutLeaking) {
    TransSpace space;
    auto document = parseXml("<root><item>a</item></root>");
    TransValue const value(document.get());
    for (char16_t const* context : {u"1+1", u"'abc'", u"/root[", u"true()"}) {
        EXPECT_THROW(value.asStringList(TransString(context), TransString(u"item")),
                     xalanc::XSLException);
    }
    TransStringList* list = value.asStringList(TransString(u"/root"), TransString(u"item"));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->size(), 1u);
    TransValue::releaseStringList(list);
}

// A path that fails while it is evaluated (count() of a number) left the evaluator pointing at the
// unwound call's state; the next query on the value, or its destruction, jumped through it.
TEST(FuzzRegression, QueriesAfterAnEvaluationErrorStillWork) {
    TransSpace space;
    TransString const root(u"/root");
    TransString const failing(u"count(item+item)");
    {
        auto document = parseXml("<root><item>2</item><item>3</item></root>");
        TransValue const value(document.get());
        for (int round = 0; round < 3; ++round) {
            TransStatus status;
            EXPECT_EQ(testing_support::take(value.asString(root, failing, status)), u"");
            EXPECT_TRUE(status.failure());
            TransStringList* list = value.asStringList(root, failing, status);
            EXPECT_TRUE(status.failure());
            TransValue::releaseStringList(list);
            value.asDouble(root, failing, status);
            EXPECT_TRUE(status.failure());
            // The same failure in the context path reaches the caller.
            EXPECT_THROW(value.asDouble(failing, TransString(u"1")), xalanc::XSLException);
            EXPECT_EQ(value.asDouble(root, TransString(u"count(item)"), status), 2.0);
            EXPECT_FALSE(status.failure());
        }
        // The context path's error is the last thing the value evaluated before it is destroyed.
        EXPECT_THROW(value.asString(failing, TransString(u"1")), xalanc::XSLException);
    }
    TransValue const dictionary(loadDataSourceFile(TRANS_SOURCE_DIR "/examples/survey.json"));
    EXPECT_THROW(dictionary.asString(failing, TransString(u"1")), xalanc::XSLException);
}
