#include "host/service/preserved_operations.hpp"

#include <gtest/gtest.h>

#include "host/service/service_error.hpp"

namespace quernlight::host {
namespace {

PreservedWork work(const std::string& name) {
    return {.name = name, .reference = "refs/quernlight/preserved/" + name, .bugID = bugOfPreserved(name)};
}

struct Row {
    const char* asked;
    const char* found;
    std::optional<ServiceErrorCode> error{};
};

TEST(PreservedNamedTest, WorkIsFoundByReferenceNameAndBug) {
    const std::vector<PreservedWork> works{work("Notes-7c41e0ab"), work("Notes-7c41e0ab-2"),
                                           work("Shop-7c999999")};
    const std::vector<Row> rows{
        {"Notes-7c41e0ab", "Notes-7c41e0ab"},
        {"refs/quernlight/preserved/Notes-7c41e0ab-2", "Notes-7c41e0ab-2"},
        {"7c9", "Shop-7c999999"},
        {"7C99", "Shop-7c999999"},
        {"7c41e0ab", "", ServiceErrorCode::ambiguous},
        {"7c", "", ServiceErrorCode::ambiguous},
        {"Shop", "", ServiceErrorCode::notFound},
        {"", "", ServiceErrorCode::notFound},
    };
    for (const Row& row : rows) {
        try {
            EXPECT_EQ(preservedNamed(works, row.asked).name, row.found) << row.asked;
            EXPECT_FALSE(row.error) << row.asked;
        } catch (const ServiceError& error) {
            EXPECT_EQ(error.code(), row.error) << row.asked << ": " << error.what();
        }
    }
}

}  // namespace
}  // namespace quernlight::host
