#include "generator.h"

#include <utility>
#include <vector>

namespace transbench {

std::string variableName(int index) {
    return "v" + std::to_string(index);
}

namespace {

using FormatType = ZELT_Variable::FormatType;

ZELT_Variable makeVariable(int index) {
    std::string const name = variableName(index);
    ZELT_Variable var(name);
    var.setLabel("Question " + std::to_string(index) + " of the survey");
    var.setAlignment(index % 3);
    var.setMeasurementLevel(index % 4);
    var.setDisplayWidth(static_cast<short>(8 + index % 8));
    var.setFormat(FormatType::F, 8 + index % 5, index % 3);
    var.setWriteFormat(index % 7 == 0 ? FormatType::COMMA : FormatType::F, 10 + index % 5,
                       index % 3);
    var.setMissingValues({index % 2 == 0 ? 999.0 : -1.5});
    if (hasValueLabels(index)) {
        var.addValueLabel(1.0, "Low " + name);
        var.addValueLabel(2.5, "Medium " + name);
        var.addValueLabel(static_cast<double>(index), "High " + name);
    }
    if (hasAttributes(index)) {
        DatasourceAttributes attributes;
        attributes.setVersion(1);
        attributes.addAttribute("Note", {"checked " + name});
        attributes.addAttribute("$origin", {"q" + std::to_string(index), "wave 2"});
        var.setAttributes(std::move(attributes));
    }
    return var;
}

} // namespace

ZELT_DataSource makeDataSource(int variables) {
    ZELT_DataSource ds;
    ds.setTimestamp(generatedTimestamp);
    ds.setRowCount(generatedRowCount);
    ds.reserveVariables(static_cast<std::size_t>(variables > 0 ? variables : 0));
    for (int i = 0; i < variables; ++i) {
        ds.addVariable(makeVariable(i));
    }

    // Set k holds v{100k}, v{100k + 10}, ..., v{100k + 90}.
    for (int k = 0; k < variables / 100; ++k) {
        std::vector<std::string> members;
        members.reserve(10);
        for (int j = 0; j < 10; ++j) {
            members.push_back(variableName(100 * k + 10 * j));
        }
        ds.addVariableSet(VariableSet("set" + std::to_string(k), std::move(members)));
    }

    VariableSet mrset("$mrset");
    for (int j = 0; j < 10 && j < variables; ++j) {
        mrset.addVariableName(variableName(j));
    }
    mrset.setType(VariableSet::typeDichotomy);
    mrset.setCountedValue("1");
    mrset.setLabel("Brands used");
    ds.addMultipleResponseSet(std::move(mrset));
    return ds;
}

namespace {

// A label of 20 to 60 characters that depends on `seed`.
std::string label(char const* what, int seed) {
    static char const filler[] = "how often do you use each of the following services at home";
    std::string text = std::string(what) + " " + std::to_string(seed) + ": ";
    text.append(filler, static_cast<std::size_t>(8 + seed % 41));
    return text;
}

std::string quoted(std::string const& text) {
    return "\"" + text + "\"";
}

std::string variableJson(int index) {
    bool const text = index % 5 == 4;
    std::string json = "{\"name\": " + quoted(variableName(index)) +
                       ", \"label\": " + quoted(label("Question", index));
    json += text ? ", \"type\": 8, \"format\": \"A8\"" : ", \"format\": \"F8.2\"";
    json += ", \"measurementLevel\": \"" + std::string(text ? "nominal" : "scale") + "\"";
    if (index % 4 == 0) {
        json += text ? ", \"missingValues\": [\"NA\"]" : ", \"missingValues\": [99, 98]";
    }
    if (index % 3 == 0) {
        json += ", \"valueLabels\": [";
        for (int k = 0; k < 5 + index % 6; ++k) {
            json += k == 0 ? "[" : ", [";
            json += text ? quoted("c" + std::to_string(k)) : std::to_string(k + 1);
            json += ", " + quoted(label("Answer", index + k)) + "]";
        }
        json += "]";
    }
    if (index % 10 == 0) {
        json += ", \"attributes\": {\"version\": 1, \"entries\": {\"Note\": [" +
                quoted(label("checked", index)) + "], \"$origin\": [\"q" + std::to_string(index) +
                "\", \"wave 2\"]}}";
    }
    return json + "}";
}

} // namespace

std::string dataSourceJson(int variables, bool variablesFirst) {
    std::string list = "\"variables\": [\n";
    for (int i = 0; i < variables; ++i) {
        list += (i == 0 ? "  " : ",\n  ") + variableJson(i);
    }
    list += "\n]";
    std::string sets = "\"variableSets\": [";
    for (int k = 0; k < variables / 100; ++k) {
        sets += k == 0 ? "{" : ", {";
        sets += "\"name\": " + quoted("set" + std::to_string(k)) + ", \"variables\": [";
        for (int j = 0; j < 10; ++j) {
            sets += (j == 0 ? "" : ", ") + quoted(variableName(100 * k + 10 * j));
        }
        sets += "]}";
    }
    sets += "],\n\"multipleResponseSets\": [{\"name\": \"$brands\", \"type\": \"dichotomy\", "
            "\"countedValue\": \"1\", \"label\": \"Brands used\", \"variables\": [";
    for (int j = 0; j < 10 && j < variables; ++j) {
        sets += (j == 0 ? "" : ", ") + quoted(variableName(j));
    }
    sets += "]}]";
    std::string const header = "\"timestamp\": 1795345509, \"rowCount\": 1000";
    std::string const attributes =
        "\"attributes\": {\"version\": 1, \"entries\": {\"Source\": [\"panel 2026\"]}}";
    return variablesFirst ? "{" + list + ",\n" + header + ",\n" + sets + ",\n" + attributes + "}\n"
                          : "{" + header + ",\n" + sets + ",\n" + attributes + ",\n" + list + "}\n";
}

} // namespace transbench
