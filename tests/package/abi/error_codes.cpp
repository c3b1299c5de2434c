// No function's type mentions the result codes; this object adds them to the recorded interface.
#include "enhance_depth.h"

extern "C" const EnhanceDepthErrorCode enhance_depth_error_codes;
const EnhanceDepthErrorCode enhance_depth_error_codes = ENHANCE_DEPTH_OK;
