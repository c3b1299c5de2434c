/**
 * @file enhance_depth.h
 * Refine the depth image of an RGB-D camera with a TensorRT engine.
 *
 * A host creates a handle from a serialized TensorRT engine, optionally resets it to another image size, and
 * then hands in one 8-bit colour image and one 16-bit depth image per frame. It gets back the refined 16-bit
 * depth and, when the engine has one, a float confidence map.
 *
 *     enhance_error* error = NULL;
 *     enhance_depth_handle handle = enhance_depth_create("model.engine", &error);
 *     if (handle && enhance_depth_reset(handle, 1280, 720, &error)) {
 *       enhance_depth_input input = {rgb, 1280 * 720 * 3, depth, 1280 * 720 * 2, 720, 1280};
 *       enhance_depth_output output;
 *       if (enhance_depth_process(handle, &input, &output, &error)) use(output.pred, output.conf);
 *     }
 *     if (error) fprintf(stderr, "%s: %s\n", error->function, error->message);
 *     enhance_delete_error(error);
 *     enhance_depth_destroy(handle);
 *
 * UNITS. Depth values are 16-bit integers in whatever unit the host uses (usually millimetres); the refined
 * depth is in the same unit, and 0 means "no depth" on both sides. Sizes are in pixels, image sizes in bytes,
 * times in milliseconds. Confidence is what the engine delivers, unchanged.
 *
 * OWNERSHIP. The host owns a handle from enhance_depth_create() to enhance_depth_destroy(), the images that
 * it passes in, and every error record that it receives. Output images are borrowed: they live in the handle
 * and stay valid until the next process, reset or destroy on that handle.
 *
 * A handle's host buffers never shrink: after a reset to a smaller size the handle still holds the host
 * memory of its largest size. Device memory is always that of the current size.
 *
 * THREADS. The library starts no thread and takes no lock. One handle is used by one thread at a time;
 * distinct handles are independent. The last error without a handle is kept per thread. A thread must not be
 * cancelled (pthread_cancel) during a call.
 *
 * PROCESSES. A handle works in the process that created it. After fork() the child must neither use nor
 * destroy the handles of its parent; CUDA itself does not work in a child of a process that has used it.
 *
 * PROGRAM END. Handles may belong to static and thread-local objects. Their destructors may call any function
 * of the library; a text of 256 characters or more that is recorded without a handle while a thread ends is
 * cut to 255. The board's libraries must still be loaded and working at that point.
 *
 * LOG. Messages go into the camera SDK's log. If the host has its own function called for each message, that
 * function may query the handle whose call is being logged, but must not reset, process or destroy it.
 *
 * CUDA. Every CUDA status is checked and reported by the call that receives it. CUDA also keeps a last error
 * per thread for cudaGetLastError(); the library neither reads nor clears it, so after a failure here a host
 * that uses CUDA itself will find it there.
 *
 * ERRORS. Functions with an output parameter `error` return 1 on success and 0 on failure
 * (enhance_depth_create: a handle or NULL) and report a failure twice: as text, through
 * enhance_depth_get_last_error(), and as a record, through `error`. No exception leaves the library. The
 * rules for `error`:
 *   - It may be NULL: no record is made.
 *   - Otherwise `*error` must be NULL or a record made by this library. Each call first frees it and sets it
 *     to NULL, and stores a new record there only if it fails. To keep a record, move it out of the variable
 *     before the next call. No argument of that call may point into the record that is freed.
 *   - If there is no memory for a record, `*error` stays NULL and the call still returns 0 or NULL. The text
 *     may then be just "out of memory".
 *
 * ENGINES. An engine needs the tensors "rgb" (input, UINT8), "dep" (input, FLOAT), "pred" (output, FLOAT)
 * and, if it delivers confidence, "confidence_output" (output, FLOAT); more than four tensors are refused. A
 * fourth tensor of another name passes that check but gets no buffer, and TensorRT normally refuses to run
 * with it (code 25). For an image of W x H pixels "rgb" takes the shape (1, 3, H, W) if it has four
 * dimensions and (H, W, 3) if it has three, "dep" takes (1, 1, H, W), and "pred" and "confidence_output" must
 * then have H * W elements, row by row. The engine determines the shapes of its outputs: of an output with
 * more elements the host sees the first H * W, and in one with fewer the rest has no meaning. Reading H * W
 * elements is always safe. The optimization profiles of the engine must admit 640 x 480, the size that
 * enhance_depth_create() configures.
 *
 * VERSIONS. The numbers below are those of this header; enhance_depth_get_version() returns those of the
 * loaded library. Within one SONAME the sizes and layouts of the records and all signatures stay as they are.
 * Codes are never renumbered.
 */
#ifndef ENHANCE_DEPTH_H
#define ENHANCE_DEPTH_H

#include <stdint.h>

/** Major version of this header. */
#define ENHANCE_DEPTH_VERSION_MAJOR 0
/** Minor version of this header. */
#define ENHANCE_DEPTH_VERSION_MINOR 7
/** Patch version of this header. */
#define ENHANCE_DEPTH_VERSION_PATCH 0

/** Marks the functions that the library exports. */
#if defined(__GNUC__)
#define ENHANCE_DEPTH_API __attribute__((visibility("default")))
#else
#define ENHANCE_DEPTH_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Result codes: what went wrong, stable across versions. The codes 3 to 11 are reserved and never raised. */
#ifdef __cplusplus
enum EnhanceDepthErrorCode : int32_t {
#else
typedef int32_t EnhanceDepthErrorCode;
enum {
#endif
  ENHANCE_DEPTH_OK = 0,                     /**< no failure */
  ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT = 1, /**< null or out-of-range argument, unreadable engine file */
  ENHANCE_DEPTH_ERROR_NULL_HANDLE = 2,      /**< the handle is NULL */
  ENHANCE_DEPTH_ERROR_RESERVED_3 = 3,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_4 = 4,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_5 = 5,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_6 = 6,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_7 = 7,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_8 = 8,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_9 = 9,       /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_10 = 10,     /**< reserved */
  ENHANCE_DEPTH_ERROR_RESERVED_11 = 11,     /**< reserved */
  ENHANCE_DEPTH_ERROR_RUNTIME_CREATE_FAILED = 12,     /**< TensorRT created no runtime */
  ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED = 13, /**< not an engine of this TensorRT version and GPU */
  ENHANCE_DEPTH_ERROR_CONTEXT_CREATE_FAILED = 14,     /**< TensorRT created no execution context */
  ENHANCE_DEPTH_ERROR_NOT_INITIALIZED = 15,           /**< the engine was never loaded */
  ENHANCE_DEPTH_ERROR_BUFFERS_NOT_CONFIGURED = 16,    /**< the last reset failed: reset again */
  ENHANCE_DEPTH_ERROR_NULL_INPUT_DATA = 17,           /**< an input image is NULL */
  ENHANCE_DEPTH_ERROR_RESOLUTION_MISMATCH = 18,       /**< the frame does not have the configured size */
  ENHANCE_DEPTH_ERROR_STRIDE_MISMATCH = 19, /**< an image's byte size does not match its resolution */
  ENHANCE_DEPTH_ERROR_CUDA_RESOURCE_CREATE_FAILED = 20, /**< no CUDA stream or timing events */
  ENHANCE_DEPTH_ERROR_DEVICE_ALLOC_FAILED = 21,         /**< no device memory */
  ENHANCE_DEPTH_ERROR_MEMCPY_FAILED = 22,               /**< a copy to or from the device failed */
  ENHANCE_DEPTH_ERROR_MEMSET_FAILED = 23,               /**< clearing a device buffer failed */
  ENHANCE_DEPTH_ERROR_SYNC_FAILED = 24,                 /**< waiting for or timing the device failed */
  ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED = 25,              /**< TensorRT refused to run the network */
  ENHANCE_DEPTH_ERROR_NO_COMPATIBLE_PROFILE = 26,       /**< no optimization profile admits the size */
  ENHANCE_DEPTH_ERROR_SET_PROFILE_FAILED = 27,          /**< TensorRT refused the profile */
  ENHANCE_DEPTH_ERROR_SET_INPUT_SHAPE_FAILED = 28,      /**< TensorRT refused an input shape */
  ENHANCE_DEPTH_ERROR_TENSOR_NOT_FOUND = 29,            /**< a required tensor is missing */
  ENHANCE_DEPTH_ERROR_TENSOR_MODE_MISMATCH = 30,        /**< a required input is an output or the reverse */
  ENHANCE_DEPTH_ERROR_TENSOR_DTYPE_MISMATCH = 31,       /**< a tensor has the wrong element type */
  ENHANCE_DEPTH_ERROR_INVALID_ENGINE_IO = 32, /**< wrong number of tensors, or a shape that does not fit */
  ENHANCE_DEPTH_ERROR_BIND_TENSOR_ADDRESS_FAILED = 33, /**< TensorRT refused a buffer */
  ENHANCE_DEPTH_ERROR_STD_EXCEPTION = 34,              /**< a standard exception, such as memory exhaustion */
  ENHANCE_DEPTH_ERROR_UNKNOWN_EXCEPTION = 35           /**< any other exception */
};

/** Size in bytes of each text of an error record, its terminating NUL included. */
#define ENHANCE_ERROR_TEXT_SIZE 256

/**
 * One failure. Owned by the host, which frees it with enhance_delete_error(). It contains no pointers and
 * will never grow, so it can be copied as plain memory. Texts that are too long are cut to 255 characters.
 */
typedef struct enhance_error {
  int32_t status;                         /**< an EnhanceDepthErrorCode */
  int32_t error_code;                     /**< the same value again */
  char message[ENHANCE_ERROR_TEXT_SIZE];  /**< what went wrong */
  char function[ENHANCE_ERROR_TEXT_SIZE]; /**< the function that reported it, e.g. "enhance_depth_process" */
  /** the offending arguments joined by "/", e.g. "rgb/depth"; for enhance_depth_reset the stage that failed,
      "allocate" or "warmup"; for a failed engine load the engine path; otherwise empty */
  char args[ENHANCE_ERROR_TEXT_SIZE];
  /** the number of the place in the library that reported it: positive, different for each place and stable
      across versions, to be stated in a bug report; 0 in a record made with enhance_create_error() */
  int32_t line;
  /** class of the failure: 2 argument or engine layout, 3 wrong state, 6 exception, 7 TensorRT, 8 CUDA, 0
      unknown; 4, 9 and 10 belong to the reserved codes */
  int32_t exception_type;
} enhance_error;

/** An engine with everything that belongs to it. Made by enhance_depth_create(), never copied. */
typedef struct enhance_depth_engine* enhance_depth_handle;

/**
 * One frame, filled by the host. The two strides are the sizes of the *whole images* in bytes, not of a row.
 * The products are computed in 32 bits and wrap around: an image's size must stay below 2 GiB.
 */
typedef struct enhance_depth_input {
  /** colour image, height * width * 3 bytes, in the layout the engine was built for: planar (all red, all
      green, all blue) if "rgb" has four dimensions, interleaved if it has three */
  const uint8_t* rgb;
  int32_t rgb_stride; /**< height * width * 3 */
  /** depth image, row by row, height * width values, 0 where the camera saw nothing; aligned for
      uint16_t */
  const uint16_t* depth;
  int32_t depth_stride; /**< height * width * 2 */
  int32_t height;       /**< rows; note that height comes before width */
  int32_t width;        /**< columns */
} enhance_depth_input;

/** One result, filled by the library. Both images belong to the handle (see OWNERSHIP). */
typedef struct enhance_depth_output {
  uint16_t* pred;      /**< refined depth, height * width values in the unit of the input depth */
  int32_t pred_stride; /**< height * width * 2 */
  float* conf;         /**< confidence map, height * width floats, or NULL when the engine has none */
  int32_t conf_stride; /**< height * width * 4, or 0 when conf is NULL */
} enhance_depth_output;

/**
 * Makes a record, for hosts that report their own failures in the same form. Its `line` is 0. Any thread.
 *
 * @param status          stored in both code fields
 * @param message         what went wrong; as for the other texts, NULL becomes an empty text
 * @param function        who reports it
 * @param args            the offending arguments
 * @param exception_type  class of the failure, stored as it is
 * @return the record, to be freed with enhance_delete_error(), or NULL when there is no memory for it
 */
ENHANCE_DEPTH_API enhance_error* enhance_create_error(int status, const char* message, const char* function,
                                                      const char* args, int exception_type);

/**
 * Frees a record. Any thread.
 *
 * @param error  the record; NULL is ignored
 */
ENHANCE_DEPTH_API void enhance_delete_error(enhance_error* error);

/**
 * Returns the text of the last failure, without clearing it.
 *
 * @param handle  the handle whose last call is asked about; NULL asks about the calling thread's last call
 *                that had no handle to report on (a failed create, a NULL handle)
 * @return the text, "OK" when there is no failure; never NULL. It belongs to the library and stays valid
 *         until the next call on that handle, or the next handle-less failure, create or destroy of that
 *         thread.
 */
ENHANCE_DEPTH_API const char* enhance_depth_get_last_error(enhance_depth_handle handle);

/**
 * Loads a serialized TensorRT engine, checks its tensors, configures it for 640 x 480 pixels and warms it up.
 *
 * Codes: 1 (NULL path, file not readable), 12, 13, 14 (TensorRT), 20, 21, 23 to 25 (device), 26 to 33 (not an
 * engine as described under ENGINES), 34, 35. The record's `args` is the engine path ("engine_path" if that
 * is NULL, "" for 34 and 35). The calling thread's last error is set on failure and "OK" on success.
 *
 * @param engine_path  path of a regular, readable, non-empty file; it must not point into the record in
 *                     `*error`, which is freed first
 * @param error        output parameter for a record, or NULL
 * @return a handle that can process 640 x 480 frames at once and is released with enhance_depth_destroy(), or
 *         NULL
 */
ENHANCE_DEPTH_API enhance_depth_handle enhance_depth_create(const char* engine_path, enhance_error** error);

/**
 * Releases the buffers of the handle's previous size, creates those for `width` x `height` pixels and runs a
 * warm-up. Outputs of earlier frames become invalid.
 *
 * Codes: 1 (size not positive), 2, 20, 21, 23 to 28, 32, 33, 34, 35. The record's `args` is "allocate" or
 * "warmup", the stage that failed ("" for 2, 34 and 35).
 *
 * @param handle  from enhance_depth_create()
 * @param width   columns, positive; an optimization profile of the engine must admit the size
 * @param height  rows, positive
 * @param error   output parameter for a record, or NULL
 * @return 1, or 0 on failure: the handle then stays usable for another reset, but refuses every frame until
 *         one succeeds: with code 16, or 18 if the frame is not of the size that was refused
 */
ENHANCE_DEPTH_API int enhance_depth_reset(enhance_depth_handle handle, int width, int height,
                                          enhance_error** error);

/**
 * Releases the handle and all that belongs to it. The calling thread's last error becomes "OK".
 *
 * @param handle  must not be in use by another thread or be used afterwards; NULL only logs a warning
 */
ENHANCE_DEPTH_API void enhance_depth_destroy(enhance_depth_handle handle);

/**
 * Refines one frame and waits for the result. Successive frames of one size return the same addresses.
 *
 * Codes: 1 (NULL input or output), 2, 16 (no size configured), 17, 18, 19, 22, 24, 25, 34, 35. The
 * record's `args` names the argument for 1 and 17 to 19 and is otherwise empty.
 *
 * @param handle  from enhance_depth_create()
 * @param input   the frame, of the size last configured; the images are read during the call only
 * @param output  receives pointers into the handle's buffers and their sizes; untouched unless the call
 *                succeeds
 * @param error   output parameter for a record, or NULL
 * @return 1, or 0 on failure: the handle stays usable and keeps its size; its last inference time changes
 *         only if the network finished
 */
ENHANCE_DEPTH_API int enhance_depth_process(enhance_depth_handle handle, const enhance_depth_input* input,
                                            enhance_depth_output* output, enhance_error** error);

/**
 * Stores a confidence threshold in the handle (0.95 until set). The library only keeps it: no output depends
 * on it. It survives enhance_depth_reset().
 *
 * @param handle     from enhance_depth_create()
 * @param threshold  any float, stored unchanged
 * @param error      output parameter for a record, or NULL
 * @return 1, or 0 with code 2, 34 or 35 (`args` ""); after 34 or 35 the threshold is stored nevertheless
 */
ENHANCE_DEPTH_API int enhance_depth_set_confidence_threshold(enhance_depth_handle handle, float threshold,
                                                             enhance_error** error);

/**
 * Reads the stored confidence threshold.
 *
 * @param handle     from enhance_depth_create()
 * @param threshold  receives it
 * @param error      output parameter for a record, or NULL
 * @return 1, or 0 with code 1 (NULL `threshold`, `args` "conf_threshold"), 2, 34 or 35 (`args` "")
 */
ENHANCE_DEPTH_API int enhance_depth_get_confidence_threshold(enhance_depth_handle handle, float* threshold,
                                                             enhance_error** error);

/**
 * A placeholder: accepts and logs any level and changes nothing. Clears the handle's last error.
 *
 * @param handle  from enhance_depth_create(); NULL is reported as the calling thread's last error (code 2)
 * @param level   any value
 */
ENHANCE_DEPTH_API void enhance_depth_set_optimization_level(enhance_depth_handle handle, int32_t level);

/**
 * The library's version and build time, e.g. "0.7.0 (built on Jul 14 2026 10:33:25)". Any thread.
 *
 * @return the text; never NULL, the same pointer on every call, valid until the library is unloaded
 */
ENHANCE_DEPTH_API const char* enhance_depth_get_version(void);

/**
 * How long the network ran on the device in the last frame, copies and conversions not included. Resetting
 * and warming up do not change it. Clears the handle's last error.
 *
 * @param handle  from enhance_depth_create(); NULL sets the calling thread's last error (code 2)
 * @return milliseconds, or -1.0 if no frame has been timed yet, for a NULL handle, and on an exception
 *         (code 34 or 35)
 */
ENHANCE_DEPTH_API float enhance_GetLastInferenceTime(enhance_depth_handle handle);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ENHANCE_DEPTH_H */
