// What is left to do for a recording.
#ifndef ENHANCE_DEPTH_TOOL_RESUME_H
#define ENHANCE_DEPTH_TOOL_RESUME_H

#include <cstddef>
#include <vector>

#include "sequence/output.h"
#include "sequence/recording.h"
#include "sequence/result_journal.h"

namespace enhance_depth_tool {

struct FramesToDo {
  std::vector<FrameFiles> frames;
  std::size_t changed = 0;  // of these, how many had a result of other images
};

// The frames of `recording` whose results are not in `journal`, are incomplete, or were made from other
// images than those now paired. Results of other images are removed; all of these frames are removed from the
// journal. If the results may belong to another recording, because they are `of_another_place` and not more
// of them were made from these images than from others, throws a UsageError and removes nothing.
FramesToDo find_frames_to_do(const Recording& recording, const SequenceOutput& output, ResultJournal& journal,
                             bool of_another_place);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RESUME_H
