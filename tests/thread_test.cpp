// Separate spaces and values used on separate threads at the same time. Spaces are created and
// destroyed on the main thread, one at a time; each thread then works only on its own space, its
// own values and its own strings, and must get exactly the answers a single thread gets. Run under
// ThreadSanitizer (scripts/test.sh tsan) this also shows the library's shared state (the XML
// libraries, the platform settings, the per-thread number formatters) is free of data races.
#include "testsupport.h"
#include "transspace.h"
#include "xmlsupport.h"
#include "zeltdatasourcefile.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>
#include <xalanc/PlatformSupport/XSLException.hpp>

using testing_support::flags;
using testing_support::parseXml;
using testing_support::take;

namespace {

char const* const namespaced = R"(<root xmlns:o="urn:outer">
<o:item n="1">one</o:item><o:item n="2">two</o:item><o:item n="3">three</o:item>
<inner xmlns:p="urn:inner"><p:thing p:id="7">t</p:thing></inner>
</root>)";

// Everything one thread computes, compared as a whole with the single-threaded answer.
struct Answers {
    std::u16string label;
    std::vector<std::u16string> valueLabels;
    double variableCount = 0;
    std::u16string thing;
    std::vector<std::u16string> items;
    double itemSum = 0;
    std::u16string numberText;
    double parsedNumber = 0;
    std::u16string trimmed;
    std::u16string dictionaryXml;
    bool contextErrorThrown = false;
    std::string statusFlags;

    bool operator==(Answers const& other) const {
        return label == other.label && valueLabels == other.valueLabels &&
               variableCount == other.variableCount && thing == other.thing &&
               items == other.items && itemSum == other.itemSum && numberText == other.numberText &&
               parsedNumber == other.parsedNumber && trimmed == other.trimmed &&
               dictionaryXml == other.dictionaryXml &&
               contextErrorThrown == other.contextErrorThrown && statusFlags == other.statusFlags;
    }
};

// One round of work on a space that holds "survey" (a dictionary) and "doc" (a parsed document).
// Values are added, copied and removed under handles of the thread's own.
Answers work(TransSpace& space) {
    Answers answers;
    TransStatus status;
    TransValue const& survey = space.find(TransString(" SURVEY "), status);
    answers.statusFlags += flags(status);
    answers.label = take(survey.asString(TransString("/dictionary/variable[@name='age']"),
                                         TransString("attribute::label"), status));
    answers.statusFlags += flags(status);
    answers.valueLabels = testing_support::takeList(survey.asStringList(
        TransString("/dictionary/valueLabelSet[valueLabelVariable/@name='satisfaction']"),
        TransString("valueLabel/@label"), status));
    answers.statusFlags += flags(status);
    answers.variableCount =
        survey.asDouble(TransString("/dictionary"), TransString("count(variable)"), status);
    answers.statusFlags += flags(status);

    TransValue const copy(space.find(TransString("Doc")));
    answers.thing = take(copy.asString(TransString(u"/root/inner/*"), TransString(u"@*"), status));
    answers.statusFlags += flags(status);
    answers.items = testing_support::takeList(
        copy.asStringList(TransString(u"/root"), TransString(u"*[@n]/text()")));
    answers.itemSum = copy.asDouble(TransString(u"/root"), TransString(u"sum(*/@n)"));
    try {
        copy.asString(TransString(u"1+"), TransString(u"."));
    } catch (xalanc::XSLException const&) {
        answers.contextErrorThrown = true;
    }

    // Numbers through the formatters, and a text value back to a number.
    space.add(TransString("number"), TransValue(-1234.5));
    answers.numberText = take(space.find(TransString("NUMBER")).asString(status));
    answers.statusFlags += flags(status);
    space.add(TransString("text"), TransValue(TransString(u"  2.25e3 ")));
    answers.parsedNumber = space.find(TransString("text")).asDouble(status);
    answers.statusFlags += flags(status);
    space.remove(TransString("number"));
    space.remove(TransString("text"));

    TransString padded(u"\t caf\u00e9 \u3000");
    answers.trimmed = padded.trim(status).asUTF16();
    answers.statusFlags +=
        std::string(padded.asMBCS()) + (padded < TransString("CAFF") ? "<" : ">");
    answers.dictionaryXml = take(survey.asUTF16XML(status));
    answers.statusFlags += flags(status);
    return answers;
}

void fill(TransSpace& space, ZELT_DataSource const& source) {
    auto document = parseXml(namespaced);
    ASSERT_TRUE(space.add(TransString("survey"), TransValue(source)));
    ASSERT_TRUE(space.add(TransString("doc"), TransValue(document.get())));
}

} // namespace

TEST(Threads, SeparateSpacesAnswerAsOnOneThread) {
    ZELT_DataSource const source = loadDataSourceFile(TRANS_SOURCE_DIR "/examples/survey.json");
    constexpr int threadCount = 4;
    constexpr int rounds = 20;

    Answers expected;
    {
        TransSpace space;
        fill(space, source);
        expected = work(space);
    }
    ASSERT_EQ(expected.label, u"Age in years");
    ASSERT_EQ(expected.items, (std::vector<std::u16string>{u"one", u"two", u"three"}));
    ASSERT_TRUE(expected.contextErrorThrown);
    ASSERT_FALSE(expected.dictionaryXml.empty());

    std::vector<std::unique_ptr<TransSpace>> spaces;
    for (int i = 0; i < threadCount; ++i) {
        spaces.push_back(std::make_unique<TransSpace>());
        fill(*spaces.back(), source);
    }
    std::vector<int> mismatches(threadCount, 0);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < rounds; ++round) {
                if (! (work(*spaces[i]) == expected)) {
                    ++mismatches[i];
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    spaces.clear(); // destroyed on this thread, one after the other
    EXPECT_EQ(mismatches, std::vector<int>(threadCount, 0));
}

// Values and strings that belong to no space: each thread builds its own document values from
// its own parsed documents and data sources while the spaces made on the main thread keep the
// XML libraries up.
TEST(Threads, ThreadsBuildAndQueryTheirOwnValues) {
    TransSpace space;
    std::string const text = R"({"variables": [{"name": "a", "label": "A"}, {"name": "b"}]})";
    constexpr int threadCount = 4;
    std::vector<std::string> failures(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round) {
                TransValue const dictionary(loadDataSourceJson(text, "t.json"));
                TransStatus status;
                std::u16string const names = take(dictionary.asString(
                    TransString("/dictionary"), TransString("string(variable[2]/@name)"), status));
                if (names != u"b") {
                    failures[i] = "dictionary query";
                }
                auto document = parseXml("<r><v>" + std::to_string(i) + "</v></r>");
                TransValue const value(document.get());
                document.reset();
                if (value.asDouble(TransString("/r"), TransString("number(v)")) != i) {
                    failures[i] = "document query";
                }
                TransStringList list;
                list.push_back(u"x");
                list.push_back(TransString(std::to_string(round).c_str()).asUTF16());
                if (list.asMBCSArray()[1] != std::to_string(round)) {
                    failures[i] = "string list";
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, std::vector<std::string>(threadCount));
}
