// The result codes are in no function's type; this object takes them into the described interface.
#include "enhance_depth.h"

extern "C" const EnhanceDepthErrorCode enhance_depth_error_codes;
const EnhanceDepthErrorCode enhance_depth_error_codes = ENHANCE_DEPTH_OK;
