// What is left to do of a recording.
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

// The frames of `recording` whose results are not in `journal`, incomplete, or made of other images than now
// belong together; these last are removed, and all are taken out of the journal. Throws a UsageError, and
// removes nothing, when the results may be those of another recording: they are `of_another_place`, and not
// one was made of these images.
FramesToDo find_frames_to_do(const Recording& recording, const SequenceOutput& output, ResultJournal& journal,
                             bool of_another_place);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RESUME_H
