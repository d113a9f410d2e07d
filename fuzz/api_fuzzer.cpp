// The public API driven in sequences. The input is read as a program of operations on a few slots
// of strings, lists and values, a space and its images: make, copy (also into containers and into
// values), assign, swap, trim, compare, convert under several code pages and locales, query, add,
// find, remove, list. Every pointer that an operation hands out (asUTF16, asMBCS, list arrays,
// references into the space) is kept with a copy of what it showed, and after every operation all
// kept pointers are read again while their owner is alive and untouched: under AddressSanitizer a
// pointer that dangles is a report, one whose text changed is an abort. An operation that touches
// an owner (trim, assignment, swap, push_back, removal, destruction) forgets its pointers first.
#include "transspace.h"
#include "xmlfilereader.h"
#include "zeltdatasource.h"
#include "zeltplatform.h"

#include <array>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <fuzzer/FuzzedDataProvider.h>
#include <limits>
#include <memory>
#include <string>
#include <vector>
#include <xalanc/PlatformSupport/XSLException.hpp>
#include <xalanc/XalanDOM/XalanDocument.hpp>

namespace {

void check(bool condition) {
    if (! condition) {
        std::abort();
    }
}

void checkStatus(TransStatus const& status) {
    check(! status.failure() || status.warning());
}

// Whether a kept text still reads as it did. A form that came out empty (a failed conversion) is
// derived again on the next request, in place: it must stay readable, its text may change.
template <typename Char>
void reread(std::basic_string<Char> const& seen, Char const* pointer) {
    std::basic_string<Char> const now(pointer);
    check(seen.empty() || now == seen);
}

// What an owner handed out, each as a read that repeats the first one.
struct Kept {
    std::vector<std::function<void()>> reads;

    void forget() noexcept { reads.clear(); }
    void readAll() const {
        for (auto const& read : reads) {
            read();
        }
    }
    template <typename Char>
    void text(Char const* pointer) {
        if (pointer != nullptr) {
            reads.emplace_back(
                [pointer, seen = std::basic_string<Char>(pointer)] { reread(seen, pointer); });
        }
    }
    template <typename Char>
    void array(Char const* const* pointers, unsigned long size) {
        if (pointers == nullptr) {
            return;
        }
        std::vector<std::basic_string<Char>> seen(pointers, pointers + size);
        reads.emplace_back([pointers, seen] {
            for (std::size_t i = 0; i < seen.size(); ++i) {
                reread(seen[i], pointers[i]);
            }
        });
    }
};

template <typename Object>
struct Slot {
    std::unique_ptr<Object> object;
    Kept kept;

    void reset(std::unique_ptr<Object> replacement = nullptr) noexcept {
        kept.forget();
        object = std::move(replacement);
    }
};

// Pieces of text: ASCII, white space, letters whose upper case differs in length or by locale,
// characters outside Latin-1 and the BMP, and a lone surrogate.
constexpr std::array<char16_t const*, 14> pieces = {
    u"a",      u"Z",      u" ",      u"\t",     u"\u00E9",     u"\u00DF", u"\u0131",
    u"\u0130", u"\u20AC", u"\u4E2D", u"\uFB00", u"\U0001F600", u"\xD800", u"i"};
// Multibyte pieces: the same characters in UTF-8, and bytes of single- and double-byte code pages.
constexpr std::array<char const*, 12> bytePieces = {"a",
                                                    "Z",
                                                    " ",
                                                    "\t",
                                                    "\xC3\xA9",
                                                    "\xC3\x9F",
                                                    "\xC4\xB1",
                                                    "\xE2\x82\xAC",
                                                    "\xE4\xB8\xAD",
                                                    "\xE9",
                                                    "\x82\xA0",
                                                    "\xFF"};
constexpr std::array<char const*, 6> codePages = {"ISO-8859-1", "windows-1252",      "Shift_JIS",
                                                  "UTF-8",      "no-such-code-page", ""};
constexpr std::array<char const*, 5> locales = {"C", "en_US.utf8", "tr_TR.utf8", "de_DE.utf8",
                                                "ar_EG.utf8"};
constexpr std::array<double, 8> numbers = {0.0,
                                           -0.0,
                                           1.5,
                                           -2e300,
                                           1e-320,
                                           std::numeric_limits<double>::infinity(),
                                           std::numeric_limits<double>::quiet_NaN(),
                                           123456789.0};
// Context and path pairs for document values; a string slot may stand for the path too.
constexpr std::array<std::array<char16_t const*, 2>, 6> queries = {{{u"/", u"*"},
                                                                    {u"/*", u"@*"},
                                                                    {u"/*", u"namespace::*"},
                                                                    {u"//*[2]", u"name()"},
                                                                    {u"/*", u"count(//*)"},
                                                                    {u"1+1", u"."}}};

char const namespacedXml[] = R"(<root xmlns:o="urn:outer" o:a="1" b="2">
  <o:item n="1">one</o:item><inner xmlns:p="urn:inner"><p:thing p:id="7">t<!--c--><?pi x?></p:thing></inner>
  <d xmlns="urn:default"><leaf v="3.5"/></d></root>)";

// The XML libraries stay up for the whole run; the documents are made once.
struct Environment {
    TransSpace keeper;
    XmlDocument namespaced = readXmlText(namespacedXml, "namespaced.xml");
};

Environment const& environment() {
    static Environment const* const made = new Environment; // never destroyed
    return *made;
}

class Program {
public:
    explicit Program(FuzzedDataProvider& input) : input_(input) {}

    void run() {
        for (int step = 0; step < 64 && input_.remaining_bytes() > 0; ++step) {
            operation(input_.ConsumeIntegralInRange(0, 21));
            readAll();
        }
        // The space's references go before the space, then the owners one by one.
        found_.forget();
        images_.forget();
        for (auto& slot : strings_) {
            slot.reset();
            readAll();
        }
    }

private:
    template <typename Object, std::size_t N>
    Slot<Object>& pick(std::array<Slot<Object>, N>& slots) {
        return slots[input_.ConsumeIntegralInRange<std::size_t>(0, N - 1)];
    }
    template <typename Array>
    auto const& choose(Array const& array) {
        return array[input_.ConsumeIntegralInRange<std::size_t>(0, array.size() - 1)];
    }

    void readAll() const {
        for (auto const& slot : strings_) {
            slot.kept.readAll();
        }
        for (auto const& slot : lists_) {
            slot.kept.readAll();
        }
        for (auto const& slot : values_) {
            slot.kept.readAll();
        }
        found_.readAll();
        images_.readAll();
    }

    // The slot's object, made empty when there is none.
    template <typename Object>
    static Object& made(Slot<Object>& slot) {
        if (! slot.object) {
            slot.reset(std::make_unique<Object>());
        }
        return *slot.object;
    }
    TransString const& string(Slot<TransString>& slot) { return made(slot); }

    // Copy construction, assignment or swap between two of the slots (possibly the same one).
    template <typename Object, std::size_t N>
    void transfer(std::array<Slot<Object>, N>& slots) {
        auto& from = pick(slots);
        auto& to = pick(slots);
        int const how = input_.ConsumeIntegralInRange(0, 2);
        if (how == 0) {
            to.reset(std::make_unique<Object>(made(from)));
            return;
        }
        made(from);
        made(to);
        to.kept.forget();
        if (how == 1) {
            *to.object = *from.object;
        } else {
            from.kept.forget();
            from.object->swap(*to.object);
        }
    }

    // A text of the given length repeating a few pieces, so that long strings cost few bytes.
    std::unique_ptr<TransString> makeString() {
        int const form = input_.ConsumeIntegralInRange(0, 3);
        std::size_t const count = input_.ConsumeIntegralInRange<std::size_t>(1, 4);
        std::size_t const length = input_.ConsumeIntegralInRange<std::size_t>(0, 80);
        std::vector<std::size_t> chosen(count);
        for (auto& piece : chosen) {
            piece = input_.ConsumeIntegral<std::size_t>();
        }
        if (form == 0) {
            std::u16string text;
            for (std::size_t i = 0; text.size() < length; ++i) {
                text += pieces[chosen[i % count] % pieces.size()];
            }
            return std::make_unique<TransString>(text.c_str());
        }
        if (form == 1) {
            std::string text;
            for (std::size_t i = 0; text.size() < length; ++i) {
                text += bytePieces[chosen[i % count] % bytePieces.size()];
            }
            return std::make_unique<TransString>(text.c_str());
        }
        if (form == 2) {
            return std::make_unique<TransString>(static_cast<char16_t const*>(nullptr));
        }
        return std::make_unique<TransString>();
    }

    std::unique_ptr<TransValue> makeValue() {
        switch (input_.ConsumeIntegralInRange(0, 5)) {
        case 0:
            return std::make_unique<TransValue>();
        case 1:
            return std::make_unique<TransValue>(choose(numbers));
        case 2:
            return std::make_unique<TransValue>(string(pick(strings_)));
        case 3:
            return std::make_unique<TransValue>(environment_.namespaced.get());
        case 4:
            return std::make_unique<TransValue>(static_cast<xercesc::DOMDocument const*>(nullptr));
        default:
            return std::make_unique<TransValue>(ZELT_DataSource());
        }
    }

    void operation(int code) {
        TransStatus status;
        switch (code) {
        case 0:
            pick(strings_).reset(makeString());
            break;
        case 1:
            transfer(strings_);
            break;
        case 2: {
            auto& slot = pick(strings_);
            slot.kept.forget();
            made(slot).trim(status);
            check(status.warning() == slot.object->empty());
            break;
        }
        case 3: {
            auto& slot = pick(strings_);
            slot.kept.text(string(slot).asUTF16(status));
            checkStatus(status);
            check(! status.failure());
            break;
        }
        case 4: {
            auto& slot = pick(strings_);
            slot.kept.text(string(slot).asMBCS(status));
            checkStatus(status);
            break;
        }
        case 5: { // the order is strict
            TransString const& left = string(pick(strings_));
            TransString const& right = string(pick(strings_));
            check(! (left < right && right < left));
            check(! (left < left));
            break;
        }
        case 6: { // copies that come and go while the original lives on
            TransString const& original = string(pick(strings_));
            std::size_t const copies = input_.ConsumeIntegralInRange<std::size_t>(1, 4);
            if (input_.ConsumeBool()) {
                std::vector<TransString> const strings(copies, original);
                check(strings.back().empty() == original.empty());
            } else {
                std::vector<TransValue> const values(copies, TransValue(original));
            }
            break;
        }
        case 7:
            ZELTSetUTF8mode(input_.ConsumeBool() ? 1 : 0);
            ZELTSetMBDefaultCodePage(choose(codePages));
            break;
        case 8:
            std::setlocale(input_.ConsumeBool() ? LC_ALL : LC_CTYPE, choose(locales));
            break;
        case 9: {
            auto& slot = pick(lists_);
            slot.kept.forget();
            auto& from = pick(strings_);
            made(slot).push_back(input_.ConsumeBool() ? string(from).asUTF16() : nullptr, status);
            break;
        }
        case 10: {
            auto& slot = pick(lists_);
            TransStringList const& entries = made(slot);
            unsigned long const index = input_.ConsumeIntegralInRange<unsigned long>(0, 4);
            slot.kept.text(entries.asUTF16(index, status));
            checkStatus(status);
            check(status.failure() == (index >= entries.size()));
            slot.kept.text(entries.asMBCS(index, status));
            checkStatus(status);
            break;
        }
        case 11: {
            auto& slot = pick(lists_);
            TransStringList const& entries = made(slot);
            slot.kept.array(entries.asUTF16Array(status), entries.size());
            checkStatus(status);
            slot.kept.array(entries.asMBCSArray(status), entries.size());
            checkStatus(status);
            break;
        }
        case 12: {
            if (input_.ConsumeBool()) {
                transfer(lists_);
                break;
            }
            auto& from = pick(lists_);
            auto& to = pick(lists_);
            check(! (made(from) < made(to) && made(to) < made(from)));
            break;
        }
        case 13:
            pick(values_).reset(makeValue());
            break;
        case 14:
            transfer(values_);
            break;
        case 15:
            convert(pick(values_));
            break;
        case 16: {
            TransString const& handle = string(pick(strings_));
            space_->add(handle, made(pick(values_)), status);
            checkStatus(status);
            break;
        }
        case 17: {
            TransString const& handle = string(pick(strings_));
            bool const exists = space_->exists(handle, status);
            checkStatus(status);
            TransValue const& found = space_->find(handle, status);
            checkStatus(status);
            check(exists == ! status.failure());
            found_.reads.emplace_back([&found] {
                TransStatus again;
                found.asDouble(again);
                checkStatus(again);
            });
            break;
        }
        case 18: {
            TransString const& handle = string(pick(strings_));
            found_.forget();
            images_.forget();
            if (input_.ConsumeBool()) {
                space_->remove(handle, status);
            } else {
                space_->removeAll(handle, status);
            }
            checkStatus(status);
            break;
        }
        case 19: {
            auto& slot = pick(lists_);
            slot.reset(std::unique_ptr<TransStringList>(space_->list(status)));
            checkStatus(status);
            if (input_.ConsumeBool()) {
                TransStringList* released = slot.object.release();
                TransSpace::releaseStringList(released, status);
                check(released == nullptr);
            }
            break;
        }
        case 20:
            images();
            break;
        default: { // a new space; the old one goes with its values
            found_.forget();
            images_.forget();
            space_ = std::make_unique<TransSpace>();
            break;
        }
        }
    }

    void convert(Slot<TransValue>& slot) {
        TransValue const& source = made(slot);
        TransStatus status;
        auto keepString = [&](TransString* result) {
            checkStatus(status);
            check(result != nullptr);
            auto& target = pick(strings_);
            target.reset(std::unique_ptr<TransString>(result));
            target.kept.text(target.object->asUTF16());
        };
        switch (input_.ConsumeIntegralInRange(0, 5)) {
        case 0:
            keepString(source.asString(status));
            break;
        case 1:
            source.asDouble(status);
            break;
        case 2:
            keepString(input_.ConsumeBool() ? source.asUTF16XML(status) : source.asMBCSXML(status));
            break;
        case 3: {
            xalanc::XalanDocument const* document = source.asXalanDocument(status);
            if (document != nullptr) {
                slot.kept.reads.emplace_back([document] { document->getNodeType(); });
            }
            break;
        }
        default: {
            auto const& query = choose(queries);
            TransString const context(query[0]);
            TransString const path =
                input_.ConsumeBool() ? TransString(query[1]) : string(pick(strings_));
            try {
                if (input_.ConsumeBool()) {
                    keepString(source.asString(context, path, status));
                } else {
                    auto& target = pick(lists_);
                    target.reset(std::unique_ptr<TransStringList>(
                        source.asStringList(context, path, status)));
                    checkStatus(status);
                    target.kept.array(target.object->asUTF16Array(), target.object->size());
                }
            } catch (xalanc::XSLException const&) {
            }
        }
        }
        checkStatus(status);
    }

    void images() {
        TransStatus status;
        TransString const& handle = string(pick(strings_));
        TransString const& name = string(pick(strings_));
        switch (input_.ConsumeIntegralInRange(0, 3)) {
        case 0: {
            TransImage image;
            image.name = name;
            image.bytes = input_.ConsumeBytesAsString(input_.ConsumeIntegralInRange(0, 8));
            image.text = string(pick(strings_));
            image.number = input_.ConsumeIntegral<int32_t>();
            images_.forget();
            space_->addImage(handle, image, status);
            break;
        }
        case 1: // a blank handle fails without the warning here and in existsImage
            images_.forget();
            space_->removeImage(handle, name, status);
            return;
        case 2:
            space_->existsImage(handle, name, status);
            return;
        default: {
            TransImage const& image = space_->findImage(handle, name, status);
            images_.text(image.name.asUTF16());
            images_.text(image.text.asMBCS());
            images_.reads.emplace_back([&image, bytes = image.bytes, number = image.number] {
                check(image.bytes == bytes && image.number == number);
            });
        }
        }
        checkStatus(status);
    }

    FuzzedDataProvider& input_;
    Environment const& environment_ = environment();
    std::unique_ptr<TransSpace> space_ = std::make_unique<TransSpace>();
    std::array<Slot<TransString>, 4> strings_;
    std::array<Slot<TransStringList>, 2> lists_;
    std::array<Slot<TransValue>, 3> values_;
    Kept found_;  // references from find, valid until a removal or the space goes
    Kept images_; // what findImage returned, valid until the handle's list changes
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    environment();
    FuzzedDataProvider input(data, size);
    ZELTSetUTF8mode(1);
    ZELTSetMBDefaultCodePage("");
    std::setlocale(LC_ALL, "C");
    Program(input).run();
    return 0;
}
