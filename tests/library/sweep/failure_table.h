// The required effect of each failing call of the board: the table against which the platform failure
// sweep compares the library.
#ifndef ENHANCE_DEPTH_TESTS_SWEEP_FAILURE_TABLE_H
#define ENHANCE_DEPTH_TESTS_SWEEP_FAILURE_TABLE_H

#include <string>

#include "library/sweep/scenario.h"

namespace sweep {

// What a step comes to when, of the `calls` that it makes to `function`, number `first` fails, from 1, or all
// from there on. `otherwise` is what it comes to when that has no effect.
Expected expected_failure(const Engine& engine, const Step& step, const std::string& function, int calls,
                          int first, bool and_all_later, const Expected& otherwise);

// True for functions that are in the table or whose failure has no effect.
bool is_known(const std::string& function);

}  // namespace sweep

#endif  // ENHANCE_DEPTH_TESTS_SWEEP_FAILURE_TABLE_H
