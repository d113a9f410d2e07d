#include "testsupport.h"
#include "transdoubleimpl.h"
#include "transintegerimpl.h"
#include "transnullimpl.h"
#include "transtextimpl.h"
#include "transvalue.h"

#include <clocale>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

using testing_support::dirtyStatus;
using testing_support::flags;
using testing_support::OwnedList;
using testing_support::OwnedString;
using testing_support::ScopedLocale;
using testing_support::take;
using testing_support::utf16;

namespace {

using ImplFactory = std::function<std::unique_ptr<TransValueImpl>()>;
using HandleFactory = std::function<TransValue()>;

template <typename Impl, typename Argument>
ImplFactory makeImpl(Argument argument) {
    return [argument] { return std::make_unique<Impl>(argument); };
}

// A scalar kind and the two answers it gives; the handle factory is empty for the integer kind,
// which has no TransValue constructor.
struct Scalar {
    char const* name;
    ImplFactory impl;
    HandleFactory handle;
    std::u16string text;
    char const* textFlags;
    double number;
    char const* numberFlags;
};

std::vector<Scalar> scalars() {
    std::u16string const missingText = u"-17976931348623157" + std::u16string(292, u'0');
    return {
        {"null", [] { return std::make_unique<TransNullImpl>(); }, [] { return TransValue(); }, u"",
         "F+W", TransMissingValue, "F+W"},
        {"double", makeImpl<TransDoubleImpl>(2.5), [] { return TransValue(2.5); }, u"2.5", "none",
         2.5, "none"},
        {"missing double", makeImpl<TransDoubleImpl>(TransMissingValue),
         [] { return TransValue(TransMissingValue); }, missingText, "none", TransMissingValue, "W"},
        {"integer", makeImpl<TransIntegerImpl>(-42LL), nullptr, u"-42", "none", -42.0, "none"},
        {"numeric text", makeImpl<TransTextImpl>(TransString(u"12.5")),
         [] { return TransValue(TransString(u"12.5")); }, u"12.5", "none", 12.5, "none"},
        {"multibyte numeric text", makeImpl<TransTextImpl>(TransString("42")),
         [] { return TransValue(TransString("42")); }, u"42", "none", 42.0, "none"},
        {"empty text", makeImpl<TransTextImpl>(TransString(u"")),
         [] { return TransValue(TransString(u"")); }, u"", "W", TransMissingValue, "F+W"},
        {"other text", makeImpl<TransTextImpl>(TransString(u"  abc ")),
         [] { return TransValue(TransString(u"  abc ")); }, u"  abc ", "none", TransMissingValue,
         "F+W"},
    };
}

// Works for a TransValue and for every TransValueImpl: both offer the same queries.
template <typename Queryable>
void expectAnswers(Queryable const& value, Scalar const& scalar) {
    TransStatus status = dirtyStatus();
    EXPECT_EQ(take(value.asString(status)), scalar.text);
    EXPECT_EQ(flags(status), scalar.textFlags) << "asString";
    status = dirtyStatus();
    EXPECT_EQ(value.asDouble(status), scalar.number);
    EXPECT_EQ(flags(status), scalar.numberFlags) << "asDouble";
}

template <typename Queryable>
void expectPlaceholders(Queryable const& value) {
    TransString const context(u"/");
    TransString const path(u"*");
    TransStatus status;
    using XMLQuery = TransString* (Queryable::*)(TransStatus&) const;
    for (XMLQuery query : {XMLQuery(&Queryable::asMBCSXML), XMLQuery(&Queryable::asUTF16XML)}) {
        status.reset();
        EXPECT_EQ(take((value.*query)(status)), u"");
        EXPECT_EQ(flags(status), "F+W") << "XML text";
    }
    status.reset();
    EXPECT_EQ(take(value.asString(context, path, status)), u"");
    EXPECT_EQ(flags(status), "F+W") << "asString(context, path)";
    status.reset();
    OwnedList const list(value.asStringList(context, path, status));
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(list->empty());
    EXPECT_EQ(flags(status), "F+W") << "asStringList";
    status.reset();
    EXPECT_EQ(value.asDouble(context, path, status), TransMissingValue);
    EXPECT_EQ(flags(status), "F+W") << "asDouble(context, path)";
    status.reset();
    EXPECT_EQ(value.asXalanDocument(status), nullptr);
    EXPECT_EQ(flags(status), "F+W") << "asXalanDocument";
}

class Value : public testing::Test {
protected:
    ScopedLocale numeric_{LC_NUMERIC, "en_US.UTF-8"};
};

} // namespace

TEST_F(Value, ScalarKindsAnswerAsStringAndAsDouble) {
    for (Scalar const& scalar : scalars()) {
        SCOPED_TRACE(scalar.name);
        std::unique_ptr<TransValueImpl> const impl = scalar.impl();
        expectAnswers(*impl, scalar);
        std::unique_ptr<TransValueImpl> const clone(impl->clone());
        TransValueImpl const& original = *impl;
        TransValueImpl const& cloned = *clone;
        EXPECT_TRUE(typeid(cloned) == typeid(original));
        expectAnswers(cloned, scalar);
        if (scalar.handle) {
            TransValue const value = scalar.handle();
            expectAnswers(value, scalar);
            expectAnswers(TransValue(value), scalar);
        }
    }
}

TEST_F(Value, ScalarKindsAnswerDocumentQueriesWithPlaceholders) {
    for (Scalar const& scalar : scalars()) {
        SCOPED_TRACE(scalar.name);
        expectPlaceholders(*scalar.impl());
        if (scalar.handle) {
            expectPlaceholders(scalar.handle());
        }
    }
}

TEST_F(Value, StatuslessFormsReturnPlaceholdersWithoutAsserting) {
    TransValue const value;
    TransString const context(u"/");
    TransString const path(u"*");
    for (TransString* text : {value.asString(), value.asString(context, path), value.asXML(),
                              value.asMBCSXML(), value.asUTF16XML()}) {
        EXPECT_EQ(take(text), u"");
    }
    OwnedList const list(value.asStringList(context, path));
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(list->empty());
    EXPECT_EQ(value.asDouble(), TransMissingValue);
    EXPECT_EQ(value.asDouble(context, path), TransMissingValue);
    EXPECT_EQ(value.asXalanDocument(), nullptr);
}

TEST_F(Value, CopiesOutliveReassignmentAndDestructionOfTheSource) {
    TransString text(u" one ");
    auto source = std::make_unique<TransValue>(text);
    TransStatus status;
    text.trim(status); // the value holds its own copy of the string
    TransValue const copy(*source);
    TransValue assigned;
    assigned = *source;
    *source = TransValue(2.0);
    EXPECT_EQ(source->asDouble(), 2.0);
    source.reset();
    EXPECT_EQ(take(copy.asString()), u" one ");
    EXPECT_EQ(take(assigned.asString()), u" one ");
}

TEST_F(Value, HandlesAndImplementationsSwapAndAssignTheirFields) {
    TransValue number(2.5);
    TransValue text(TransString(u"x"));
    number.swap(text);
    EXPECT_EQ(take(number.asString()), u"x");
    EXPECT_EQ(take(text.asString()), u"2.5");

    TransIntegerImpl first(1);
    TransIntegerImpl second(2);
    first.swap(second);
    EXPECT_EQ(first.asInteger(), 2);
    EXPECT_EQ(second.asInteger(), 1);
    first = TransIntegerImpl(7);
    EXPECT_EQ(first.asInteger(), 7);

    TransStatus status;
    TransDoubleImpl low(0.5);
    TransDoubleImpl high(8.0);
    low.swap(high);
    EXPECT_EQ(low.asDouble(status), 8.0);
    EXPECT_EQ(high.asDouble(status), 0.5);

    TransTextImpl a(TransString(u"a"));
    TransTextImpl b(TransString(u"b"));
    a.swap(b);
    EXPECT_EQ(take(a.asString(status)), u"b");
    b = a;
    EXPECT_EQ(take(b.asString(status)), u"b");
}

TEST_F(Value, ReleaseDeletesAndNullsAndWarnsOnlyOfNull) {
    for (bool const null : {false, true}) {
        SCOPED_TRACE(null ? "null" : "owned");
        char const* const expected = null ? "W" : "none";
        // Placeholders are released like any result.
        TransString* string = null ? nullptr : TransValue().asString();
        TransStatus status = dirtyStatus();
        TransValue::releaseString(string, status);
        EXPECT_EQ(string, nullptr);
        EXPECT_EQ(flags(status), expected);

        TransStringList* list = null ? nullptr : new TransStringList();
        status = dirtyStatus();
        TransValue::releaseStringList(list, status);
        EXPECT_EQ(list, nullptr);
        EXPECT_EQ(flags(status), expected);
        TransValue::releaseString(string); // the status-less forms do not assert
        TransValue::releaseStringList(list);
    }
}
