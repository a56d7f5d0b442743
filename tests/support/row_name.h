#pragma once

#include <string>

// The name generator of tables whose rows carry their name:
// INSTANTIATE_TEST_SUITE_P(Table, Suite, testing::Values(...), rowName).
constexpr auto rowName = [](const auto& row) { return std::string(row.param.name); };
