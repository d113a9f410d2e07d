#include "transversion.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Result {
    int exit = -1;
    std::string out;
    std::string err;
};

std::string quoted(std::string const& argument) {
    std::string result = "'";
    for (char c : argument) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

std::string readFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A file of this test process's own: tests run in parallel processes.
std::string scratch(std::string const& name) {
    return ::testing::TempDir() + "tool_test_" + std::to_string(getpid()) + "_" + name;
}

std::string writeFile(std::string const& name, std::string const& contents) {
    std::string const path = scratch(name);
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

// Runs the tool with the arguments and captures its output and exit status.
Result run(std::vector<std::string> const& arguments) {
    std::string const errPath = scratch("stderr");
    std::string command = quoted(TRANSSPACE_TOOL);
    for (std::string const& argument : arguments) {
        command += " " + quoted(argument);
    }
    command += " 2>" + quoted(errPath);
    Result result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return result;
    }
    std::array<char, 4096> buffer{};
    std::size_t count = 0;
    while ((count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) {
        result.out.append(buffer.data(), count);
    }
    int const status = pclose(pipe);
    result.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = readFile(errPath);
    return result;
}

bool contains(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

std::string const age = "/dictionary/variable[@name='age']";
std::string const genderLabels = "/dictionary/valueLabelSet[valueLabelVariable/@name='gender']";

} // namespace

TEST(Tool, DictWritesTheExampleInEachForm) {
    Result const multibyte = run({"dict", "--example"});
    EXPECT_EQ(0, multibyte.exit) << multibyte.err;
    EXPECT_EQ(0u,
              multibyte.out.rfind(
                  "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><dictionary ", 0));
    EXPECT_TRUE(contains(multibyte.out, "label=\"R\xC3\xA9gion of residence\""));
    EXPECT_TRUE(multibyte.err.empty());

    Result const utf16 = run({"dict", "--utf16", "--example"});
    EXPECT_EQ(0, utf16.exit);
    ASSERT_EQ(0u, utf16.out.size() % 2);
    EXPECT_EQ(std::string("<\0?\0x\0m\0l\0", 10), utf16.out.substr(0, 10)); // no byte-order mark
    EXPECT_EQ(utf16.out.size(), 2 * (multibyte.out.size() - 2) + 4) // "UTF-8" vs "UTF-16", é
        << "the UTF-16 text holds the same document";

    Result const pretty = run({"dict", "--pretty", "--example"});
    EXPECT_EQ(0, pretty.exit);
    EXPECT_TRUE(contains(pretty.out, "\n  <variable "));
}

TEST(Tool, DictFollowsUTF8ModeAndCodePage) {
    Result const latin1 =
        run({"--utf8-mode", "off", "--code-page", "ISO-8859-1", "dict", "--example"});
    EXPECT_EQ(0, latin1.exit) << latin1.err;
    EXPECT_TRUE(contains(latin1.out, "encoding=\"ISO-8859-1\""));
    EXPECT_TRUE(contains(latin1.out, "label=\"R\xE9gion of residence\""));
}

TEST(Tool, QueriesAnswerWithTheirExitStatus) {
    Result const label = run({"query", "--example", age, "attribute::label"});
    EXPECT_EQ(0, label.exit);
    EXPECT_EQ("Age in years\n", label.out);

    Result const labels = run({"query", "--list", "--example", genderLabels, "valueLabel/@label"});
    EXPECT_EQ(0, labels.exit);
    EXPECT_EQ("Female\nMale\nAnother gender\nNo answer\n", labels.out);

    Result const count = run({"query", "--double", "--example", "/dictionary", "count(variable)"});
    EXPECT_EQ(0, count.exit);
    EXPECT_EQ("14\n", count.out);
    Result const fraction = run({"query", "--double", "--example", "/", "1 div 3"});
    EXPECT_EQ("0.3333333333333333\n", fraction.out);

    // Several nodes where one was expected: the first, and the warning's exit status.
    Result const several = run({"query", "--example", "/dictionary", "variable/@name"});
    EXPECT_EQ(1, several.exit);
    EXPECT_EQ("id\n", several.out);

    Result const nothing = run({"query", "--example", "/dictionary/nothing", "@name"});
    EXPECT_EQ(2, nothing.exit);
    EXPECT_TRUE(nothing.out.empty());
    EXPECT_TRUE(contains(nothing.err, "failure"));

    Result const badContext = run({"query", "--example", "/dictionary[", "@name"});
    EXPECT_EQ(2, badContext.exit);
    EXPECT_TRUE(badContext.out.empty());
    EXPECT_TRUE(contains(badContext.err, "context path"));
}

TEST(Tool, QueriesXmlFilesWithNamespaces) {
    std::string const path = writeFile("doc.xml", "<?xml version=\"1.0\"?>\n"
                                                  "<r xmlns=\"urn:d\"><in xmlns:p=\"urn:p\">"
                                                  "<p:v p:n=\"7\"/></in></r>");
    Result const prefixed = run({"query", "--double", path, "/*/*", "p:v/@p:n"});
    EXPECT_EQ(0, prefixed.exit) << prefixed.err;
    EXPECT_EQ("7\n", prefixed.out);
    Result const local = run({"query", path, "/*[local-name()='r']", "local-name(*)"});
    EXPECT_EQ("in\n", local.out);
}

TEST(Tool, RejectsBadXmlWithItsPosition) {
    std::string const broken = writeFile("broken.xml", "<r>\n  <a></b>\n</r>");
    Result const result = run({"query", broken, "/", "."});
    EXPECT_EQ(2, result.exit);
    EXPECT_TRUE(result.out.empty());
    EXPECT_TRUE(contains(result.err, broken + ":2:")) << result.err;

    std::string const external = writeFile(
        "external.xml", "<!DOCTYPE r [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><r>&e;</r>");
    Result const refused = run({"query", external, "/r", "string(.)"});
    EXPECT_EQ(2, refused.exit);
    EXPECT_TRUE(refused.out.empty());
    EXPECT_TRUE(contains(refused.err, "external entity")) << refused.err;

    std::string bomb = "<!DOCTYPE r [<!ENTITY a0 \"xxxxxxxxxx\">";
    for (int i = 1; i < 10; ++i) {
        std::string const previous = "&a" + std::to_string(i - 1) + ";";
        std::string ten;
        for (int j = 0; j < 10; ++j) {
            ten += previous;
        }
        bomb += "<!ENTITY a" + std::to_string(i) + " \"" + ten + "\">";
    }
    bomb += "]><r>&a9;</r>";
    Result const expanded = run({"query", writeFile("bomb.xml", bomb), "/r", "string-length(.)"});
    EXPECT_EQ(2, expanded.exit);
    EXPECT_TRUE(expanded.out.empty());
}

TEST(Tool, RejectsBadDataSourceFilesWithOneMessage) {
    std::string const path =
        writeFile("bad.json", R"({"variables": [{"name": "a"}, {"name": "b", "format": "Q8.2"}]})");
    Result const result = run({"dict", path});
    EXPECT_EQ(2, result.exit);
    EXPECT_TRUE(result.out.empty());
    EXPECT_EQ("transspace: " + path + ": /variables/1/format: unknown format name \"Q8.2\"\n",
              result.err);

    std::string const syntax =
        writeFile("syntax.json", "{\n  \"rowCount\": 1\n  \"timestamp\": 2\n}");
    Result const invalid = run({"query", syntax, "/", "."});
    EXPECT_EQ(2, invalid.exit);
    EXPECT_TRUE(contains(invalid.err, syntax + ":3:")) << invalid.err;

    Result const missing = run({"dict", scratch("does-not-exist.json")});
    EXPECT_EQ(2, missing.exit);
    EXPECT_TRUE(contains(missing.err, "does-not-exist.json"));
}

TEST(Tool, UsageErrorsAndInformation) {
    for (std::vector<std::string> const& arguments : std::vector<std::vector<std::string>>{
             {},
             {"frobnicate"},
             {"dict"},
             {"dict", "--utf16", "--pretty", "--example"},
             {"query", "--example", "/"},
             {"query", "--list", "--double", "--example", "/", "."},
             {"--utf8-mode", "maybe", "dict", "--example"},
             {"validate"},
             {"validate", "a.xml", "b.xml"}}) {
        Result const result = run(arguments);
        EXPECT_EQ(2, result.exit);
        EXPECT_TRUE(result.out.empty());
        EXPECT_TRUE(contains(result.err, "--help"));
    }
    Result const help = run({"--help"});
    EXPECT_EQ(0, help.exit);
    EXPECT_TRUE(contains(help.out, "transspace dict --pretty --example"));
    EXPECT_TRUE(contains(help.out, "transspace query --example"));
    EXPECT_TRUE(contains(help.out, "validate FILE.xml"));
    Result const version = run({"--version"});
    EXPECT_EQ(0, version.exit);
    EXPECT_EQ("transspace " TRANSSPACE_VERSION_STRING "\n", version.out);
}

TEST(Tool, ValidateReportsEveryErrorWithItsPosition) {
    Result const dict = run({"dict", "--example"});
    std::string const path = writeFile("example.xml", dict.out);
    Result const valid = run({"validate", path});
    EXPECT_EQ(0, valid.exit) << valid.err;
    EXPECT_EQ(path + ": valid\n", valid.out);
    EXPECT_TRUE(valid.err.empty());

    std::string text = dict.out;
    for (auto const& [from, to] : {std::pair<std::string, std::string>{"type=\"F\"", "type=\"Q\""},
                                   {"rowCount=", "rowcount="}}) {
        std::size_t const at = text.find(from);
        ASSERT_NE(std::string::npos, at) << from;
        text.replace(at, from.size(), to);
    }
    std::string const broken = writeFile("broken-dictionary.xml", text);
    Result const invalid = run({"validate", broken});
    EXPECT_EQ(2, invalid.exit);
    EXPECT_TRUE(invalid.out.empty());
    std::istringstream lines(invalid.err);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_EQ(0u, line.rfind(broken + ":1:", 0)) << line; // the document is one line
    }
    EXPECT_EQ(2, count) << invalid.err;
    EXPECT_TRUE(contains(invalid.err, "'Q'"));
    EXPECT_TRUE(contains(invalid.err, "'rowcount'"));

    Result const missing = run({"validate", scratch("does-not-exist.xml")});
    EXPECT_EQ(2, missing.exit);
    EXPECT_TRUE(contains(missing.err, "does-not-exist.xml: cannot be read"));
}

TEST(Tool, DictValidatesBeforeWriting) {
    for (std::vector<std::string> const& form :
         std::vector<std::vector<std::string>>{{}, {"--utf16"}, {"--pretty"}}) {
        std::vector<std::string> plain{"dict"};
        plain.insert(plain.end(), form.begin(), form.end());
        plain.push_back("--example");
        std::vector<std::string> checked = plain;
        checked.insert(checked.begin() + 1, "--validate");
        Result const unchecked = run(plain);
        Result const validated = run(checked);
        EXPECT_EQ(0, validated.exit) << validated.err;
        EXPECT_TRUE(validated.err.empty());
        EXPECT_EQ(unchecked.out, validated.out) << "validating changes nothing that is written";
    }
    Result const latin1 =
        run({"--utf8-mode", "off", "--code-page", "ISO-8859-1", "dict", "--validate", "--example"});
    EXPECT_EQ(0, latin1.exit) << latin1.err;
    EXPECT_TRUE(contains(latin1.out, "encoding=\"ISO-8859-1\""));
}
