#include "host/agent/size_choice.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

constexpr TerminalSize small{.columns = 80, .rows = 24}, large{.columns = 200, .rows = 50};

TEST(SizeChoiceTest, WhoTypedOrAttachedLastSetsTheSize) {
    using Client = SizeChoice::Client;
    const struct {
        const char* name;
        void (*before)(SizeChoice&);
        std::optional<TerminalSize> size;
        Client setBy;
    } rows[] = {
        {"nobody", [](SizeChoice&) {}, std::nullopt, 0},
        {"the only one", [](SizeChoice& sizes) { sizes.sized(1, small); }, small, 1},
        {"the last that attached",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.sized(2, large);
         },
         large, 2},
        {"the last that typed",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.sized(2, large);
             sizes.typed(1);
         },
         small, 1},
        {"another's window is resized",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.sized(2, large);
             sizes.sized(1, {.columns = 100, .rows = 30});
         },
         large, 2},
        {"its own window is",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.sized(1, large);
         },
         large, 1},
        {"who has no size types",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.typed(2);
         },
         small, 1},
        {"it leaves",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.sized(2, large);
             sizes.left(2);
         },
         small, 1},
        {"all leave",
         [](SizeChoice& sizes) {
             sizes.sized(1, small);
             sizes.left(1);
             sizes.left(1);
         },
         std::nullopt, 0},
    };
    for (const auto& row : rows) {
        SizeChoice sizes;
        row.before(sizes);
        EXPECT_EQ(sizes.size(), row.size) << row.name;
        for (const Client client : {1, 2}) {
            EXPECT_EQ(sizes.isSetBy(client), client == row.setBy) << row.name << ", client " << client;
        }
    }
}

}  // namespace
}  // namespace quernlight::host
