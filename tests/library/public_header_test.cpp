// The public header as a C++17 program sees it, where its enumeration and records have to be exact types.
#include <type_traits>

#include "enhance_depth.h"

static_assert(std::is_same_v<std::underlying_type_t<EnhanceDepthErrorCode>, int32_t>);
static_assert(std::is_trivially_copyable_v<enhance_error> && std::is_standard_layout_v<enhance_error>);
static_assert(std::is_aggregate_v<enhance_depth_input> && std::is_aggregate_v<enhance_depth_output>);
static_assert(std::is_pointer_v<enhance_depth_handle>);
static_assert(std::is_same_v<decltype(enhance_depth_input::height), int32_t>);

int main() { return enhance_depth_get_version() == nullptr ? 1 : 0; }
