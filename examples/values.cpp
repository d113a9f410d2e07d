// Stores a few values in a space under handles, finds them again with other letter case and
// blanks, and reads them back as text and numbers.
#include "transspace.h"

#include <clocale>
#include <cstdio>

namespace {

void show(TransSpace const& space, char const* handle) {
    TransStatus status;
    TransValue const& value = space.find(TransString(handle), status);
    if (status.failure()) {
        std::printf("%-12s not found\n", handle);
        return;
    }
    TransString* text = value.asString(status);
    double const number = value.asDouble();
    std::printf("%-12s text \"%s\"%s, number %s\n", handle, text->asMBCS(),
                status.warning() ? " (empty)" : "",
                number == TransMissingValue ? "none" : std::to_string(number).c_str());
    space.releaseString(text);
}

} // namespace

int main() {
    std::setlocale(LC_ALL, "");
    TransSpace space;
    space.add(TransString("Total"), TransValue(1234.5));
    space.add(TransString("  Label "), TransValue(TransString(u"Präsentation")));
    space.add(TransString("Count"), TransValue(TransString("42")));
    space.add(TransString("Nothing"), TransValue());

    TransStatus status;
    bool const added = space.add(TransString("TOTAL"), TransValue(1.0), status);
    std::printf("adding TOTAL again: %s (failure %d, warning %d)\n", added ? "stored" : "refused",
                status.failure(), status.warning());

    TransStringList* handles = space.list();
    std::printf("%lu handles:", handles->size());
    for (unsigned long i = 0; i < handles->size(); ++i) {
        std::printf(" %s", handles->asMBCS(i));
    }
    std::printf("\n");
    space.releaseStringList(handles);

    for (char const* handle : {"total", " LABEL", "count", "nothing", "missing"}) {
        show(space, handle);
    }
    return 0;
}
