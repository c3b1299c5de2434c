// The contract between the library and a network, as docs/engine-contract.md states it.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_CONTRACT_H
#define ENHANCE_DEPTH_TOOL_INSPECT_CONTRACT_H

#include <string>
#include <vector>

#include "inspect/model.h"

namespace enhance_depth_tool {

// A way in which a model does not meet the contract, in one line: what it concerns, what is wrong, what to
// change.
struct Violation {
  std::string subject;  // a tensor's display_name(), "tensors" or "profiles"
  std::string text;
};

// All violations of a model, in the order of the contract; none if it fits.
std::vector<Violation> check_contract(const ModelInfo& model);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_CONTRACT_H
