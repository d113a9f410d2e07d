#include "zeltdatasource.h"
#include "zeltiocv.h"
#include "zeltwlib.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Format = ZELT_Variable::FormatType;

std::uint64_t bitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::uint64_t bitsOf(OBS const* value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, value, sizeof bits);
    return bits;
}

OBS obsOf(double value) {
    OBS obs;
    obs.number = value;
    return obs;
}

std::string isoDate(double timestamp) {
    std::string result = "stale";
    ToISODateTime(result, timestamp, 2, true, true);
    return result;
}

} // namespace

TEST(DataSource, FindVarIndexIgnoresLetterCase) {
    ZELT_DataSource ds;
    EXPECT_EQ(ds.addVariable(ZELT_Variable("Age")), 0);
    EXPECT_EQ(ds.addVariable(ZELT_Variable("city", 12)), 1);
    EXPECT_EQ(ds.addVariable(ZELT_Variable(u8"Größe")), 2);
    EXPECT_EQ(ds.FindVarIndex("aGE", 0), 0);
    EXPECT_EQ(ds.FindVarIndex("CITY", 0), 1);
    EXPECT_EQ(ds.FindVarIndex(u8"GRößE", 0), 2);
    EXPECT_EQ(ds.FindVarIndex(u8"GRÖSSE", 0), 2); // full case mapping: ß upper-cases to SS
    for (char const* absent : {"Ag", "Age ", "", static_cast<char const*>(nullptr)}) {
        EXPECT_EQ(ds.FindVarIndex(absent, 0), -1);
    }
    EXPECT_STREQ(ds.GetVariable(0).GetName(), "Age"); // stored as given

    // A clashing name is rejected and leaves the index as it was.
    EXPECT_THROW(ds.addVariable(ZELT_Variable("AGE")), std::invalid_argument);
    EXPECT_EQ(ds.ColumnCount(), 3);
    EXPECT_EQ(ds.FindVarIndex("age", 0), 0);
    EXPECT_THROW(ds.GetVariable(3), std::out_of_range);

    // Through the index's growth, with and without room made first, every name is found by any
    // letter case, and every clash is refused.
    for (std::size_t const reserved : {std::size_t{0}, std::size_t{3000}}) {
        ZELT_DataSource many;
        many.reserveVariables(reserved);
        for (int i = 0; i < 3000; ++i) {
            ASSERT_EQ(many.addVariable(ZELT_Variable("Var" + std::to_string(i))), i);
        }
        for (int i = 0; i < 3000; i += 7) {
            EXPECT_EQ(many.FindVarIndex(("vAR" + std::to_string(i)).c_str(), 0), i);
            EXPECT_THROW(many.addVariable(ZELT_Variable("VAR" + std::to_string(i))),
                         std::invalid_argument);
        }
        EXPECT_EQ(many.FindVarIndex("Var3000", 0), -1);
        EXPECT_EQ(many.ColumnCount(), 3000);
    }
}

TEST(DataSource, DefaultsFollowTheVariableType) {
    ZELT_DataSource const ds;
    EXPECT_EQ(ds.GetTimestamp(), 0.0);
    EXPECT_EQ(ds.RowCount(), -1);
    EXPECT_EQ(ds.GetWeightVarIndex(), -1);

    ZELT_Variable numeric("n");
    ZELT_Variable text("s", 12);
    Format type{};
    int width = 0;
    int decimals = 0;
    numeric.GetFormatEx(type, width, decimals);
    EXPECT_EQ(std::make_tuple(type, width, decimals), std::make_tuple(Format::F, 8, 2));
    text.GetWriteFormatEx(type, width, decimals);
    EXPECT_EQ(std::make_tuple(type, width, decimals), std::make_tuple(Format::A, 12, 0));
    EXPECT_EQ(numeric.GetAlignment(), ZELT_Variable::alignRight);
    EXPECT_EQ(text.GetAlignment(), ZELT_Variable::alignLeft);
    EXPECT_EQ(text.GetDisplayWidth(), 8);
    EXPECT_EQ(numeric.GetLabel(), nullptr);
    numeric.setLabel("");
    EXPECT_STREQ(numeric.GetLabel(), "");

    // The write format is a copy of the default print format, not tied to it.
    numeric.setFormat(static_cast<Format>(70), 11, 0); // an unnamed code is kept as is
    numeric.GetFormatEx(type, width, decimals);
    EXPECT_EQ(static_cast<int>(type), 70);
    numeric.GetWriteFormatEx(type, width, decimals);
    EXPECT_EQ(std::make_tuple(type, width, decimals), std::make_tuple(Format::F, 8, 2));
}

TEST(DataSource, MissingValuesGiveSignedCountAndPointers) {
    EXPECT_EQ(bitsOf(ZELT_Variable::missingLowest), 0xFFEFFFFFFFFFFFFEull);
    EXPECT_EQ(bitsOf(ZELT_Variable::missingHighest), 0x7FEFFFFFFFFFFFFFull);
    EXPECT_FALSE(obsOf(ZELT_Variable::missingLowest) == obsOf(-DBL_MAX));
    EXPECT_FALSE(obsOf(0.0) == obsOf(-0.0)); // bits, not floating-point equality
    double const nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(obsOf(nan) == obsOf(nan));

    ZELT_Variable var("n");
    OBS const dummy{};
    OBS const* first = &dummy;
    OBS const* second = &dummy;
    OBS const* third = &dummy;
    EXPECT_EQ(var.GetMissingValues(first, second, third), 0);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(third, nullptr);

    var.setMissingValues({9, 99});
    EXPECT_EQ(var.GetMissingValues(first, second, third), 2);
    EXPECT_EQ(first->number, 9);
    EXPECT_EQ(second->number, 99);
    EXPECT_EQ(third, nullptr);

    var.setMissingRange(ZELT_Variable::missingLowest, 0);
    EXPECT_EQ(var.GetMissingValues(first, second, third), -2);
    EXPECT_EQ(bitsOf(first), 0xFFEFFFFFFFFFFFFEull);
    EXPECT_EQ(second->number, 0);
    EXPECT_EQ(third, nullptr);

    var.setMissingRange(1, ZELT_Variable::missingHighest, 0);
    EXPECT_EQ(var.GetMissingValues(first, second, third), -3);
    EXPECT_TRUE(*second == obsOf(DBL_MAX));
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->number, 0);

    ZELT_Variable text("s", 4);
    text.setMissingStrings({"AB", "ABCDEFGH", ""});
    EXPECT_EQ(text.GetMissingValues(first, second, third), 3);
    EXPECT_EQ(std::string(first->text, 8), "AB      ");
    EXPECT_EQ(std::string(second->text, 8), "ABCDEFGH");
    EXPECT_EQ(std::string(third->text, 8), "        ");
}

TEST(DataSource, FillRejectsWhatTheGettersCannotReport) {
    EXPECT_THROW(ZELT_Variable(""), std::invalid_argument);
    EXPECT_THROW(ZELT_Variable("s", -1), std::invalid_argument);
    EXPECT_THROW(ZELT_Variable("s", 32768), std::invalid_argument);

    ZELT_Variable numeric("n");
    numeric.setMissingValues({9});
    EXPECT_THROW(numeric.setMissingValues({1, 2, 3, 4}), std::invalid_argument);
    EXPECT_THROW(numeric.setMissingRange(1, 0), std::invalid_argument);
    EXPECT_THROW(numeric.setMissingRange(std::nan(""), 0, 5), std::invalid_argument);
    EXPECT_THROW(numeric.setMissingStrings({"a"}), std::invalid_argument);
    EXPECT_THROW(numeric.addValueLabel(std::string("a"), "A"), std::invalid_argument);
    OBS const* first = nullptr;
    OBS const* second = nullptr;
    OBS const* third = nullptr;
    EXPECT_EQ(numeric.GetMissingValues(first, second, third), 1); // unchanged by the rejections
    EXPECT_EQ(first->number, 9);

    ZELT_Variable text("s", 20);
    EXPECT_THROW(text.setMissingStrings({"123456789"}), std::invalid_argument);
    EXPECT_THROW(text.setMissingStrings({"a", "b", "c", "d"}), std::invalid_argument);
    EXPECT_THROW(text.setMissingValues({1}), std::invalid_argument);
    EXPECT_THROW(text.setMissingRange(0, 1), std::invalid_argument);
    EXPECT_THROW(text.addValueLabel(1.0, "one"), std::invalid_argument);

    ZELT_DataSource ds;
    ds.addVariable(ZELT_Variable("x"));
    ds.addVariable(ZELT_Variable("Wt"));
    EXPECT_THROW(ds.setWeightVariableIndex(2), std::invalid_argument);
    EXPECT_THROW(ds.setWeightVariableIndex(-2), std::invalid_argument);
    EXPECT_THROW(ds.setWeightVariable("w"), std::invalid_argument);
    EXPECT_EQ(ds.GetWeightVarIndex(), -1);
    ds.setWeightVariable("WT");
    EXPECT_EQ(ds.GetWeightVarIndex(), 1);
    ds.setWeightVariableIndex(-1);
    EXPECT_EQ(ds.GetWeightVarIndex(), -1);

    EXPECT_THROW(ds.addExtension(3, 3, 0, {}), std::invalid_argument);
    EXPECT_THROW(ds.addExtension(3, 3, 2, {1, 2, 3}), std::invalid_argument);
    ds.addExtension(3, 3, 1, {1});
    EXPECT_THROW(ds.addExtension(3, 3, 1, {2}), std::invalid_argument);
    EXPECT_THROW(ZELT_DataSource::Extension(ds, 4), std::invalid_argument);
    EXPECT_THROW(ds.addVariableSet(VariableSet("")), std::invalid_argument);
    EXPECT_THROW(ds.addMultipleResponseSet(VariableSet()), std::invalid_argument);

    DatasourceAttributes attributes;
    attributes.addAttribute("Note", {"a"});
    EXPECT_THROW(attributes.addAttribute("Note", {}), std::invalid_argument);
    EXPECT_EQ(attributes.Size(), 1u);
}

TEST(DataSource, ValueLabelsIterateInInsertionOrderUntilReset) {
    ZELT_Variable numeric("n");
    numeric.addValueLabel(3, "three");
    numeric.addValueLabel(1.5, "one and a half");
    ZELT_ValueLabelMap map(numeric.GetValueLabels());
    EXPECT_EQ(map.Size(), 2);
    double value = 0;
    char const* label = nullptr;
    ASSERT_EQ(map.GetNextPair(value, label), 1);
    EXPECT_EQ(value, 3);
    EXPECT_STREQ(label, "three");
    ASSERT_EQ(map.GetNextPair(value, label), 1);
    EXPECT_EQ(value, 1.5);
    EXPECT_EQ(map.GetNextPair(value, label), 0);
    EXPECT_EQ(map.GetNextPair(value, label), 0); // stays at the end
    std::string text;
    map.Reset();
    EXPECT_EQ(map.GetNextPair(text, label), 0); // no string pairs on a numeric variable
    map.Reset();
    ASSERT_EQ(map.GetNextPair(value, label), 1);
    EXPECT_EQ(value, 3);

    ZELT_Variable city("city", 12);
    city.addValueLabel("PAR", "Paris");
    city.addValueLabel("LONDON-CITY", "London"); // longer than 8 bytes
    ZELT_ValueLabelMap cities(city.GetValueLabels());
    ASSERT_EQ(cities.GetNextPair(text, label), 1);
    EXPECT_EQ(text, "PAR");
    ASSERT_EQ(cities.GetNextPair(text, label), 1);
    EXPECT_EQ(text, "LONDON-CITY");
    EXPECT_STREQ(label, "London");
    EXPECT_EQ(cities.GetNextPair(text, label), 0);

    ZELT_Variable const unlabelled("u");
    ZELT_ValueLabelMap none(unlabelled.GetValueLabels());
    EXPECT_EQ(none.Size(), 0);
}

TEST(DataSource, ExtensionReadsElementsFromACursor) {
    ZELT_DataSource ds;
    ds.addExtension(3, 7, 4, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    ds.addExtension(15, 15, 8, {});
    EXPECT_TRUE(ds.HasExtension(3));
    EXPECT_FALSE(ds.HasExtension(4));

    ZELT_DataSource::Extension ext(ds, 3);
    EXPECT_EQ(ext.Type(), 7);
    EXPECT_EQ(ext.ElementSize(), 4);
    EXPECT_EQ(ext.Length(), 3);
    std::vector<unsigned char> buffer(12, 0xEE);
    EXPECT_EQ(ext.GetNext(buffer.data(), 2), 2);
    EXPECT_EQ(buffer[7], 7);
    EXPECT_EQ(buffer[8], 0xEE); // nothing beyond the two elements
    EXPECT_EQ(ext.GetNext(buffer.data(), 5), 1);
    EXPECT_EQ(buffer[0], 8);
    EXPECT_EQ(buffer[3], 11);
    EXPECT_EQ(ext.GetNext(buffer.data(), 5), 0);

    ZELT_DataSource::Extension again(ds, 3); // a new reader starts at the front
    EXPECT_EQ(again.GetNext(buffer.data(), -1), 0);
    EXPECT_EQ(again.GetNext(buffer.data(), again.Length()), 3);
    EXPECT_EQ(buffer, std::vector<unsigned char>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));

    ZELT_DataSource::Extension empty(ds, 15);
    EXPECT_EQ(empty.Length(), 0);
    EXPECT_EQ(empty.GetNext(nullptr, empty.Length()), 0);
}

TEST(DataSource, SetsAndAttributesKeepEveryFieldInOrder) {
    ZELT_DataSource ds;
    ds.addVariableSet(VariableSet("Demo", {"age", "City"}));
    VariableSet brands("$Brands", {"b1", "B2"});
    brands.setType(VariableSet::typeDichotomy);
    brands.setCountedValue("1");
    brands.setLabel("Brands used");
    brands.setUseVariableCategoryLabels(true);
    ds.addMultipleResponseSet(brands);

    std::vector<VariableSet> const sets = VariableSets(ds, VarSetsType::VariableSets);
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_EQ(sets[0].GetName(ChangeCase::AsStored), "Demo");
    EXPECT_EQ(sets[0].GetVariableNames(ChangeCase::AsStored),
              std::vector<std::string>({"age", "City"}));
    std::vector<VariableSet> const mr = VariableSets(ds, VarSetsType::MultipleResponseSets);
    ASSERT_EQ(mr.size(), 1u);
    EXPECT_EQ(mr[0].GetName(ChangeCase::Upper), "$BRANDS");
    EXPECT_EQ(mr[0].GetVariableNames(ChangeCase::Lower), std::vector<std::string>({"b1", "b2"}));
    EXPECT_EQ(mr[0].GetType(), 2);
    EXPECT_EQ(mr[0].GetValue(), "1");
    EXPECT_EQ(mr[0].GetLabel(), "Brands used");
    EXPECT_TRUE(mr[0].qUseVariableCategoryLabels());
    EXPECT_FALSE(mr[0].qLabelSetByVariable());
    EXPECT_TRUE(VariableSets(ds, static_cast<VarSetsType>(5)).empty());

    DatasourceAttributes attributes;
    attributes.setVersion(1LL << 40);
    attributes.addAttribute("Zeta", {"z"});
    attributes.addAttribute("$origin", {});
    attributes.addAttribute("Alpha", {"a", "b"});
    ds.setAttributes(attributes);
    DatasourceAttributes const copy = ds.GetAttributes();
    EXPECT_EQ(copy.Version(), 1LL << 40);
    ASSERT_EQ(copy.Size(), 3u);
    EXPECT_EQ(copy.Name(0), "Zeta");
    EXPECT_TRUE(copy.Values(1).empty());
    EXPECT_EQ(copy.Values(2), std::vector<std::string>({"a", "b"}));
    EXPECT_THROW(copy.Name(3), std::out_of_range);
}

TEST(IsoDateTime, RendersUtcAndDropsFractions) {
    EXPECT_EQ(isoDate(0), "1970-01-01T00:00:00");
    EXPECT_EQ(isoDate(1795345509), "2026-11-22T11:05:09");
    EXPECT_EQ(isoDate(1795345509.999), "2026-11-22T11:05:09");
    EXPECT_EQ(isoDate(-0.5), "1969-12-31T23:59:59");
    EXPECT_EQ(isoDate(951782400), "2000-02-29T00:00:00");
    EXPECT_EQ(isoDate(-2203891200), "1900-03-01T00:00:00");
    EXPECT_EQ(isoDate(-11670955199), "1600-02-29T12:00:01");
}

TEST(IsoDateTime, IsEmptyOutsideYearsOneTo9999) {
    EXPECT_EQ(isoDate(-62135596800), "0001-01-01T00:00:00");
    EXPECT_EQ(isoDate(253402300799.9), "9999-12-31T23:59:59");
    EXPECT_EQ(isoDate(-62135596800.5), "");
    EXPECT_EQ(isoDate(253402300800), "");
    EXPECT_EQ(isoDate(std::numeric_limits<double>::quiet_NaN()), "");
    EXPECT_EQ(isoDate(std::numeric_limits<double>::infinity()), "");
    EXPECT_EQ(isoDate(-std::numeric_limits<double>::infinity()), "");
}

TEST(ServerLocaleList, GivesTheCanonicalIdExceptForTheCLocale) {
    struct Case {
        char const* name;
        int count;
        char const* first; // of the list afterwards
    };
    for (Case const c : {Case{"C", 0, "old"}, Case{"POSIX", 0, "old"}, Case{"C.UTF-8", 0, "old"},
                         Case{"de_DE.UTF-8", 1, "de_DE"}, Case{"tr_TR.ISO-8859-9", 1, "tr_TR"},
                         Case{"ca_ES", 1, "ca_ES"}}) {
        std::string name = c.name;
        std::vector<std::string> list{"old"};
        EXPECT_EQ(GetServerLocaleList(name, list), c.count) << c.name;
        EXPECT_EQ(list, std::vector<std::string>({c.first})) << c.name;
        EXPECT_EQ(name, c.name);
    }
}
