#include "quernlight/storage/column_values.hpp"

#include "tests/storage/database_fixture.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;

constexpr const char* uuidText = "3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF";

Row rowOf(SQLValue value) {
    return {{"field", std::move(value)}};
}

Row rowOf(std::string_view text) {
    return rowOf(SQLValue::text(text));
}

TEST(ColumnValuesTest, AnInstantIsWrittenInUtcWithMilliseconds) {
    const Instant instant = *parseInstant("2026-03-04T06:06:07.89+01:00");
    EXPECT_EQ(columnValue(instant), SQLValue::text("2026-03-04T05:06:07.890Z"));
}

TEST(ColumnValuesTest, AUuidIsWrittenInUpperCase) {
    EXPECT_EQ(columnValue(*parseUuid("3f2a9c10-aaaa-bbbb-cccc-ddddeeeeffff")), SQLValue::text(uuidText));
}

TEST(ColumnValuesTest, AnAbsentFieldIsNull) {
    EXPECT_TRUE(columnValue(std::optional<Uuid>()).isNull());
    EXPECT_TRUE(columnValue(std::optional<Instant>()).isNull());
    EXPECT_EQ(columnValue(std::optional<std::string>("")), SQLValue::text(""));
}

TEST(ColumnValuesTest, AnInstantIsReadWithAndWithoutFraction) {
    EXPECT_EQ(formatInstant(requiredInstant(rowOf("2026-03-04T05:06:07.890Z"), "field")),
              "2026-03-04T05:06:07.890Z");
    EXPECT_EQ(formatInstant(requiredInstant(rowOf("2026-03-04T05:06:07Z"), "field")),
              "2026-03-04T05:06:07.000Z");
}

TEST(ColumnValuesTest, ATextThatIsNoInstantReadsAsTheEpoch) {
    EXPECT_EQ(requiredInstant(rowOf("yesterday"), "field"), Instant{});
    EXPECT_EQ(optionalInstant(rowOf("yesterday"), "field"), Instant{});
}

TEST(ColumnValuesTest, AnOptionalInstantIsAbsentOnlyWhenNullOrMissing) {
    EXPECT_EQ(optionalInstant(rowOf(SQLValue::integer(7)), "field"), Instant{});
    EXPECT_EQ(optionalInstant(rowOf(""), "field"), Instant{});
}

TEST(ColumnValuesTest, AnOptionalFieldOfAnotherKindIsAbsent) {
    EXPECT_EQ(optionalText(rowOf(SQLValue::integer(7)), "field"), std::nullopt);
    EXPECT_EQ(optionalUuid(rowOf(SQLValue::integer(7)), "field"), std::nullopt);
    EXPECT_EQ(optionalInteger32(rowOf("7"), "field"), std::nullopt);
}

TEST(ColumnValuesTest, AnOptionalFieldIsAbsentWhenNullOrMissing) {
    for (const Row& row : {rowOf(SQLValue::null()), Row()}) {
        EXPECT_EQ(optionalInstant(row, "field"), std::nullopt);
        EXPECT_EQ(optionalText(row, "field"), std::nullopt);
        EXPECT_EQ(optionalUuid(row, "field"), std::nullopt);
        EXPECT_EQ(optionalInteger32(row, "field"), std::nullopt);
    }
}

TEST(ColumnValuesTest, AnOptionalUuidThatDoesNotParseIsAbsent) {
    EXPECT_EQ(optionalUuid(rowOf("no uuid"), "field"), std::nullopt);
    EXPECT_EQ(optionalUuid(rowOf(uuidText), "field"), parseUuid(uuidText));
}

TEST(ColumnValuesTest, ANumberThatDoesNotFitIsAbsent) {
    EXPECT_EQ(optionalInteger32(rowOf(SQLValue::integer(-7)), "field"), -7);
    EXPECT_EQ(optionalInteger32(rowOf(SQLValue::integer(1LL << 31)), "field"), std::nullopt);
}

TEST(ColumnValuesTest, ARequiredFieldThatIsMissingThrowsItsName) {
    const DatabaseError expected(Kind::missingColumn, "field");
    EXPECT_EQ(databaseErrorOf([] { requiredText(Row(), "field"); }), expected);
    EXPECT_EQ(databaseErrorOf([] { requiredInstant(rowOf(SQLValue::null()), "field"); }), expected);
}

TEST(ColumnValuesTest, ARequiredFieldOfTheWrongKindThrowsItsName) {
    const DatabaseError expected(Kind::missingColumn, "field");
    EXPECT_EQ(databaseErrorOf([] { requiredText(rowOf(SQLValue::integer(1)), "field"); }), expected);
    EXPECT_EQ(databaseErrorOf([] { requiredInteger(rowOf("1"), "field"); }), expected);
    EXPECT_EQ(databaseErrorOf([] { requiredUuid(rowOf("no uuid"), "field"); }), expected);
    EXPECT_EQ(databaseErrorOf([] { requiredInstant(rowOf(SQLValue::integer(1)), "field"); }), expected);
}

}  // namespace
}  // namespace quernlight
