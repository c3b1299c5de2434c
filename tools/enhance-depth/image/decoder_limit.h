#ifndef ENHANCE_DEPTH_TOOL_DECODER_LIMIT_H
#define ENHANCE_DEPTH_TOOL_DECODER_LIMIT_H

namespace enhance_depth_tool {

// Gives OpenCV's decoders the tool's own limit of an image's pixels, so that a file whose header was misread
// is still refused. OpenCV reads its limits from the environment while it is loaded, before main(): the
// program is started once more in the same process, with OPENCV_IO_MAX_IMAGE_PIXELS set. Does nothing if the
// variable is set; if the system cannot start the program again, OpenCV keeps its own limit.
void limit_decoders(char** argv);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DECODER_LIMIT_H
