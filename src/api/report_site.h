// Where in the library a failure is reported: the number that an error record carries as its `line`.
#ifndef ENHANCE_DEPTH_API_REPORT_SITE_H
#define ENHANCE_DEPTH_API_REPORT_SITE_H

#include <cstdint>

namespace enhance_depth {

// One number per reporting site, grouped by function. They appear in bug reports about released versions, so
// a number is never changed and never reused. The guard of a function takes four numbers: see ExceptionSite.
enum class ReportSite : std::int32_t {
  kNone = 0,  // functions that make no records

  kCreateNullPath = 101,
  kCreateLoad = 102,
  kCreateException = 190,

  kResetNullHandle = 201,
  kResetAllocate = 202,
  kResetWarmup = 203,
  kResetException = 290,

  kProcessNullHandle = 301,
  kProcessNullRecord = 302,
  kProcessNullImage = 303,
  kProcessResolution = 304,
  kProcessRgbStride = 305,
  kProcessDepthStride = 306,
  kProcessInfer = 307,
  kProcessException = 390,

  kSetThresholdNullHandle = 401,
  kSetThresholdException = 490,

  kGetThresholdNullHandle = 501,
  kGetThresholdNullOutput = 502,
  kGetThresholdException = 590,
};

// Added to the number of a guard: what was thrown, and whether there was a handle to record it on.
enum class ExceptionSite : std::int32_t {
  kStandardOnHandle = 0,
  kStandardOnThread = 1,
  kOtherOnHandle = 2,
  kOtherOnThread = 3,
};

constexpr ReportSite operator+(ReportSite frame, ExceptionSite kind) {
  return static_cast<ReportSite>(static_cast<std::int32_t>(frame) + static_cast<std::int32_t>(kind));
}

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_API_REPORT_SITE_H
