#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "bench/comparison.hpp"

using quernlight::bench::Table;

/// quernlight-bench [--smoke | ROUNDS] [PART]: measures the rows whose name contains PART, and prints the
/// table.
int main(int argc, char** argv) {
    const std::string_view first = argc > 1 ? argv[1] : "5";
    const bool smoke = first == "--smoke";
    Table table(smoke);
    quernlight::bench::addTerminalRows(table);
    quernlight::bench::addQueueRows(table);
    quernlight::bench::addRecordRows(table);
    quernlight::bench::addSessionRows(table);
    quernlight::bench::addHttpRows(table);
    const int rounds = smoke ? 1 : std::atoi(argc > 1 ? argv[1] : "5");
    const bool good = table.run(rounds, argc > 2 ? argv[2] : "");
    std::cout << table.text();
    return good && rounds > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
