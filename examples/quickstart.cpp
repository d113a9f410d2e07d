// Loads a data source described in JSON, builds its dictionary document, stores it in a space and
// asks it for one variable's label.
#include "transspace.h"
#include "zeltdatasourcefile.h"

#include <clocale>
#include <cstdio>

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    TransSpace space; // keeps the XML libraries up while document values exist
    try {
        ZELT_DataSource const source =
            loadDataSourceFile(argc > 1 ? argv[1] : "examples/survey.json");
        space.add(TransString("survey"), TransValue(source)); // the dictionary as a document value
    } catch (DataSourceFileError const& error) {
        std::fprintf(stderr, "%s\n", error.what()); // the file, the place and what is wrong
        return 2;
    }

    TransStatus status;
    TransValue const& dictionary = space.find(TransString(" SURVEY "), status); // any case, blanks
    TransString* label = dictionary.asString(TransString("/dictionary/variable[@name='age']"),
                                             TransString("attribute::label"), status);
    std::printf("%s\n", label->asMBCS()); // Age in years
    space.releaseString(label);
    return status.failure() ? 1 : 0;
}
