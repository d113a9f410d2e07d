// A host program: fills a data source in code, builds its dictionary as a document value, stores
// it in a space and queries it.
#include "transspace.h"
#include "zeltdatasource.h"

#include <clocale>
#include <cstdio>
#include <memory>

namespace {

ZELT_DataSource makeDataSource() {
    ZELT_DataSource source;
    source.setRowCount(3);

    ZELT_Variable age("age");
    age.setLabel("Age in years");
    age.setFormat(ZELT_Variable::FormatType::F, 3, 0);
    age.setWriteFormat(ZELT_Variable::FormatType::F, 3, 0);
    age.setMissingValues({999});
    age.addValueLabel(999, "Refused");
    source.addVariable(age);

    ZELT_Variable city("city", 12);
    city.setLabel("City of residence");
    city.addValueLabel(std::string("LON"), "London");
    city.addValueLabel(std::string("PAR"), "Paris");
    source.addVariable(city);

    source.addVariableSet(VariableSet("Everything", {"age", "city"}));
    return source;
}

} // namespace

int main() {
    std::setlocale(LC_ALL, "");
    TransSpace space; // keeps the XML libraries up while documents exist
    space.add(TransString("dictionary"), TransValue(makeDataSource()));

    TransValue const& dictionary = space.find(TransString("Dictionary"));
    TransStatus status;
    std::unique_ptr<TransString> label(
        dictionary.asString(TransString("/dictionary/variable[@name='city']"),
                            TransString("attribute::label"), status));
    std::printf("label of city: %s\n", label->asMBCS());

    std::unique_ptr<TransStringList> labels(dictionary.asStringList(
        TransString("/dictionary/valueLabelSet[valueLabelVariable/@name='city']"),
        TransString("valueLabel/@label"), status));
    for (unsigned long i = 0; i < labels->size(); ++i) {
        std::printf("value label %lu: %s\n", i + 1, labels->asMBCS(i));
    }

    double const count =
        dictionary.asDouble(TransString("/dictionary"), TransString("count(variable)"), status);
    std::printf("variables: %g\n", count);
    return status.failure() || count != 2 ? 1 : 0;
}
