#include "transversion.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <utility>
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

// A file of this test process's own (tests run in parallel processes), removed when it exits.
std::string scratch(std::string const& name) {
    struct Files {
        std::set<std::string> paths;
        ~Files() {
            for (std::string const& path : paths) {
                std::remove(path.c_str());
            }
        }
    };
    static Files files;
    std::string const path =
        ::testing::TempDir() + "tool_test_" + std::to_string(getpid()) + "_" + name;
    files.paths.insert(path);
    return path;
}

std::string writeFile(std::string const& name, std::string const& contents) {
    std::string const path = scratch(name);
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

// Runs the tool with the arguments, standard input from a file (and standard output to one,
// else captured), and captures its exit status and standard error.
Result run(std::vector<std::string> const& arguments, std::string const& input = "/dev/null",
           std::string const& output = std::string()) {
    std::string const errPath = scratch("stderr");
    std::string command = quoted(TRANSSPACE_TOOL);
    for (std::string const& argument : arguments) {
        command += " " + quoted(argument);
    }
    command += " <" + quoted(input) + (output.empty() ? "" : " >" + quoted(output)) + " 2>" +
               quoted(errPath);
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
    EXPECT_EQ("</dictionary>\n", multibyte.out.substr(multibyte.out.size() - 14));

    Result const utf16 = run({"dict", "--utf16", "--example"});
    EXPECT_EQ(0, utf16.exit);
    ASSERT_EQ(0u, utf16.out.size() % 2);
    EXPECT_EQ(std::string("<\0?\0x\0m\0l\0", 10), utf16.out.substr(0, 10)); // no byte-order mark
    EXPECT_EQ(std::string(">\0\n\0", 4), utf16.out.substr(utf16.out.size() - 4));
    EXPECT_EQ(utf16.out.size(), 2 * (multibyte.out.size() - 2) + 4) // "UTF-8" vs "UTF-16", é
        << "the UTF-16 text holds the same document";

    Result const pretty = run({"dict", "--pretty", "--example"});
    EXPECT_EQ(0, pretty.exit);
    EXPECT_TRUE(contains(pretty.out, "\n  <variable "));
    EXPECT_FALSE(contains(pretty.out, "\n\n"));
    EXPECT_EQ('\n', pretty.out.back());
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
    // Numbers as XPath writes them: plain from 1e-6 up to 1e21, the shortest round-trip digits.
    for (auto const& [expression, text] : std::vector<std::pair<char const*, char const*>>{
             {"1 div 3", "0.3333333333333333"},
             {"100000", "100000"},
             {"200000", "200000"},
             {"0.000001", "0.000001"},
             {"0.0000001", "1e-7"},
             {"-0.0000012", "-0.0000012"},
             {"123.456", "123.456"},
             {"100000000000000000000", "100000000000000000000"},
             {"1000000000000000000000", "1e+21"},
             {"12345678901234567890123", "1.2345678901234568e+22"},
             {"0 div 0", "NaN"},
             {"1 div 0", "Infinity"},
             {"-1 div 0", "-Infinity"}}) {
        Result const number = run({"query", "--double", "--example", "/", "--", expression});
        EXPECT_EQ(std::string(text) + "\n", number.out) << expression << number.err;
    }

    // Several nodes where one was expected: the first, and the warning's exit status.
    Result const several = run({"query", "--example", "/dictionary", "variable/@name"});
    EXPECT_EQ(1, several.exit);
    EXPECT_EQ("id\n", several.out);

    // Why a query failed, or a warning, in one line of standard error.
    struct Case {
        char const* context;
        char const* path;
        int exit;
        char const* said;
    };
    for (Case const& c :
         {Case{"/dictionary/nothing", "@name", 2, "failure: the context path selects no node"},
          Case{"/dictionary[", "@name", 2, "failure: error in the context path: Expected ']'"},
          Case{"/dictionary", "foo:bar", 2,
               "failure: error in the path: The prefix 'foo' is not declared."},
          Case{"/dictionary", "current()", 2, "failure: error in the path: The function 'current'"},
          Case{"/dictionary", "count(1)", 2, "failure: error in the path: The expression does not"},
          Case{"/dictionary", "round(", 2,
               "failure: error in the path: Expected ')', but found '' instead. expression = "
               "'round('"},
          Case{"/dictionary", " ", 2, "failure: the path is empty"},
          Case{"/dictionary/variable", "@label", 0,
               "warning: the context path selects 14 nodes; the first is used"}}) {
        Result const result = run({"query", "--example", c.context, c.path});
        EXPECT_EQ(c.exit, result.exit) << c.path;
        EXPECT_EQ(0u, result.err.rfind(std::string("transspace: ") + c.said, 0)) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_EQ(c.exit == 2, result.out.empty());
    }
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
    Result const bound = run({"query", "-N", "d=urn:d", "--namespace=q=urn:p", "--double", path,
                              "/d:r/d:in", "q:v/@q:n"});
    EXPECT_EQ("7\n", bound.out) << bound.err;
    Result const unbound = run({"query", path, "/d:r", "."});
    EXPECT_TRUE(contains(unbound.err, "The prefix 'd' is not declared")) << unbound.err;

    // CDATA sections are text, merged with the text beside them; an empty one adds nothing.
    std::string const cdata = writeFile("cdata.xml", "<c>a<![CDATA[x<y]]>b<e/><![CDATA[]]></c>");
    for (auto const& [expression, expected] :
         {std::pair{"string(text())", "ax<yb\n"}, std::pair{"count(text())", "1\n"},
          std::pair{"count(self::c[contains(text(), '<')])", "1\n"}}) {
        Result const answer = run({"query", cdata, "/c", expression});
        EXPECT_EQ(expected, answer.out) << expression << ": " << answer.err;
    }
}

TEST(Tool, DictionaryFilesAnswerAsTheirDataSource) {
    std::vector<std::string> files;
    for (char const* form : {"--utf16", "--pretty", "--validate"}) {
        Result const dict = run({"dict", form, "--example"});
        files.push_back(writeFile(std::string("dictionary") + form + ".xml", dict.out));
    }
    for (std::vector<std::string> const& query : std::vector<std::vector<std::string>>{
             {age, "@label"},
             {"/dictionary/variable[@name='age']/missingValue[3]", "@data"},
             {"--list", genderLabels, "valueLabel/@label"},
             {"--double", "/dictionary", "count(*)"},
             {"--double", "/dictionary", "count(//@*)"},
             {"/", "namespace-uri(*)"},
             {"-N", "d=urn:d", "/dictionary", "count(d:variable)"}}) {
        std::vector<std::string> arguments{"query"};
        arguments.insert(arguments.end(), query.begin(), query.end() - 2);
        arguments.push_back("--example");
        arguments.insert(arguments.end(), query.end() - 2, query.end());
        Result const fromSource = run(arguments);
        for (std::string const& file : files) {
            arguments[arguments.size() - 3] = file;
            Result const fromFile = run(arguments);
            EXPECT_EQ(fromSource.out, fromFile.out) << file << " " << query.back() << fromFile.err;
            EXPECT_EQ(fromSource.exit, fromFile.exit) << file << " " << query.back();
        }
    }
}

TEST(Tool, ReadsStandardInput) {
    std::string const json = writeFile("stdin.json", R"(
        {"variables": [{"name": "v"}]})");
    std::string const xml = writeFile("stdin.xml", run({"dict", "--example"}).out);
    struct Case {
        std::vector<std::string> arguments;
        std::string input;
        std::string out;
    };
    for (Case const& c : {Case{{"query", "-", "/dictionary/variable", "@name"}, json, "v\n"},
                          Case{{"query", "-", age, "@label"}, xml, "Age in years\n"},
                          Case{{"query", "/dev/stdin", age, "@label"}, xml, "Age in years\n"},
                          Case{{"validate", "-"}, xml, "(standard input): valid\n"}}) {
        Result const result = run(c.arguments, c.input);
        EXPECT_EQ(c.out, result.out) << c.arguments[1] << result.err;
    }
    Result const dict = run({"dict", "-"}, json);
    EXPECT_EQ(0, dict.exit) << dict.err;
    EXPECT_TRUE(contains(dict.out, "name=\"v\""));
}

TEST(Tool, WritesCompletelyOrFails) {
    for (std::vector<std::string> const& arguments : std::vector<std::vector<std::string>>{
             {"dict", "--example"},
             {"--help"},
             {"--version"},
             {"validate", writeFile("valid.xml", run({"dict", "--example"}).out)},
             {"query", "--example", age, "@name"},
             {"-o", "/dev/full", "dict", "--example"}}) {
        Result const failed = run(arguments, "/dev/null", "/dev/full");
        EXPECT_EQ(2, failed.exit) << arguments[0];
        EXPECT_EQ("transspace: cannot write the output: No space left on device\n", failed.err);
    }
    std::string const target = scratch("out.xml");
    std::string const example = run({"dict", "--example"}).out;
    Result const written = run({"dict", "-o", target, "--example"});
    EXPECT_EQ(0, written.exit) << written.err;
    EXPECT_TRUE(written.out.empty());
    EXPECT_EQ(example, readFile(target));
    // A failed run leaves the file as it was.
    std::string const bad = writeFile("unwritable.json", R"({"variables": [{"name": "\u0001"}]})");
    EXPECT_EQ(2, run({"dict", "--output=" + target, bad}).exit);
    EXPECT_EQ(example, readFile(target));
    std::remove(target.c_str());
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

    // Messages that say what is wrong, on one line.
    std::string const unwritable =
        writeFile("unwritable.json", R"({"variables": [{"name": "a"}, {"name": "b"},
                                        {"name": "c", "label": "x\u0001"}]})");
    for (auto const& [arguments, message] :
         std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"dict", scratch("missing.json")},
              scratch("missing.json") + ": No such file or directory"},
             {{"query", ::testing::TempDir(), "/", "."}, ::testing::TempDir() + ": Is a directory"},
             {{"validate", ::testing::TempDir()}, ::testing::TempDir() + ": Is a directory"},
             {{"--code-page", "NOPE", "dict", "--example"}, "--code-page: unknown code page NOPE"},
             {{"dict", unwritable}, "/dictionary/variable[3]/@label: U+0001"},
             {{"dict", "--pretty", unwritable}, "/dictionary/variable[3]/@label: U+0001"}}) {
        Result const refused = run(arguments);
        EXPECT_EQ(2, refused.exit);
        EXPECT_TRUE(refused.out.empty());
        EXPECT_TRUE(contains(refused.err, message)) << refused.err;
    }
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
             {"validate", "a.xml", "b.xml"},
             {"dict", "--pretty=yes", "--example"},
             {"query", "--example", "/", "-1"},
             {"query", "--namespace", "1x=urn:x", "--example", "/", "."}}) {
        Result const result = run(arguments);
        EXPECT_EQ(2, result.exit);
        EXPECT_TRUE(result.out.empty());
        EXPECT_TRUE(contains(result.err, "--help"));
    }
    // Help for all commands or one, the version, options written with "=" and "--".
    for (auto const& [arguments, shown, notShown] :
         std::vector<std::tuple<std::vector<std::string>, std::string, std::string>>{
             {{"--help"}, "transspace dict --pretty --example", ""},
             {{"-h"}, "validate [-o FILE] (FILE.xml | -)", ""},
             {{"dict", "--help"}, "dict [--validate]", "query ["},
             {{"query", "-h"}, "-N, --namespace PREFIX=URI", "dict ["},
             {{"validate", "--help"}, "validate [-o FILE]", "query ["},
             {{"-V"}, "transspace ", "Commands"},
             {{"--utf8-mode=off", "--code-page=ISO-8859-1", "dict", "--example"},
              "encoding=\"ISO-8859-1\"",
              ""},
             {{"query", "--double", "--example", "/", "--", "-1"}, "-1\n", ""}}) {
        Result const result = run(arguments);
        EXPECT_EQ(0, result.exit) << arguments[0] << result.err;
        EXPECT_TRUE(contains(result.out, shown)) << arguments[0];
        EXPECT_TRUE(notShown.empty() || ! contains(result.out, notShown)) << arguments[0];
    }
    Result const version = run({"--version"});
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
    EXPECT_TRUE(contains(missing.err, "does-not-exist.xml: No such file or directory"));
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
