#include <csignal>
#include <iostream>

#include <gtest/gtest.h>

#include "tests/agents/release_report.hpp"
#include "tests/agents/told_to_end.hpp"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    quernlight::test::heedSignals();
    const int result = RUN_ALL_TESTS();
    if (!quernlight::test::reports().empty()) {
        std::cout << '\n' << quernlight::test::table(quernlight::test::reports()) << std::flush;
    }
    if (const int signal = quernlight::test::signalToEnd()) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
    return result;
}
