// What the failure of each call of the board has to come to: the table against which the platform failure
// sweep compares the library.
#ifndef ENHANCE_DEPTH_TESTS_SWEEP_FAILURE_TABLE_H
#define ENHANCE_DEPTH_TESTS_SWEEP_FAILURE_TABLE_H

#include <string>
#include <vector>

#include "sweep/scenario.h"

namespace sweep {

// What comes of one failed call.
struct Effect {
  int code = 0;  // 0: nothing
  std::string message;
  const char* args = "";  // of a reset: its stage; of a create: replaced by the engine path
};

// The effects of the calls of `function` in a step, in their order.
// ICudaEngine::getProfileShape is not in the table: see below.
std::vector<Effect> effects(const std::string& function, const Step& step);

// True for functions whose failure has no effect at all, and for those and the functions of the table.
bool is_harmless(const std::string& function);
bool is_known(const std::string& function);

// Profile selection for a size while calls of ICudaEngine::getProfileShape fail: the `first` one of the step,
// or all from that one on. Empty when a profile is found nevertheless, else the message.
std::string profile_message(const Step& step, int first, bool and_all_later);

}  // namespace sweep

#endif  // ENHANCE_DEPTH_TESTS_SWEEP_FAILURE_TABLE_H
