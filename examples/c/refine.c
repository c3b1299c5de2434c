/*
 * A complete host program in C: refines frames from files.
 *
 *     refine ENGINE OUTPUT COLOR.ppm DEPTH.pgm [COLOR.ppm DEPTH.pgm ...]
 *
 * writes the refined depth of frame N to OUTPUT-N.pgm, in the unit of the input. A frame that fails is
 * reported and skipped; the exit status is 0 only if all frames were refined.
 *
 *     cc -o refine refine.c pnm.c $(pkg-config --cflags --libs enhance_depth)
 */
#include <enhance_depth.h>
#include <stdio.h>
#include <stdlib.h>

#include "pnm.h"

typedef struct frame {
  int width;
  int height;
  uint8_t* rgb;    /* as the engine wants it; see to_planar() */
  uint16_t* depth; /* 0 where the camera saw nothing */
} frame;

static void free_frame(frame* f) {
  free(f->rgb);
  free(f->depth);
}

/* Image files store red, green and blue of each pixel together. An engine whose "rgb" tensor has four
   dimensions wants all red, then all green, then all blue; for one with three dimensions leave this out. */
static uint8_t* to_planar(const uint8_t* interleaved, int width, int height) {
  const size_t count = (size_t)width * (size_t)height;
  uint8_t* planar = malloc(count * 3);
  if (planar == NULL) {
    return NULL;
  }
  for (size_t i = 0; i < count; ++i) {
    for (size_t channel = 0; channel < 3; ++channel) {
      planar[channel * count + i] = interleaved[i * 3 + channel];
    }
  }
  return planar;
}

/* Returns 1, or 0 after printing the reason. free_frame() in both cases. */
static int read_frame(frame* f, const char* color_path, const char* depth_path) {
  int color_width = 0;
  int color_height = 0;
  *f = (frame){0};
  f->depth = read_pgm16(depth_path, &f->width, &f->height);
  uint8_t* color = read_ppm(color_path, &color_width, &color_height);
  const int same_size = color_width == f->width && color_height == f->height;
  if (color != NULL && f->depth != NULL && !same_size) {
    fprintf(stderr, "%s is %d x %d and %s is %d x %d: they must be of one size\n", color_path, color_width,
            color_height, depth_path, f->width, f->height);
  } else if (color != NULL && f->depth != NULL) {
    f->rgb = to_planar(color, f->width, f->height);
    if (f->rgb == NULL) {
      fprintf(stderr, "%s: no memory\n", color_path);
    }
  }
  free(color);
  return f->rgb != NULL && f->depth != NULL;
}

/* Prints the library's account of a failure. There may be no memory for a record; the text is always there.
 */
static void print_failure(enhance_depth_handle handle, const enhance_error* error) {
  if (error == NULL) {
    fprintf(stderr, "%s\n", enhance_depth_get_last_error(handle));
  } else {
    fprintf(stderr, "%s(%s): %s (code %d)\n", error->function, error->args, error->message,
            (int)error->error_code);
  }
}

/* Refines one frame and writes it. The output images belong to the handle: use them before the next call. */
static int refine(enhance_depth_handle handle, const frame* f, const char* output_path,
                  enhance_error** error) {
  const enhance_depth_input input = {.rgb = f->rgb,
                                     .rgb_stride = f->height * f->width * 3,
                                     .depth = f->depth,
                                     .depth_stride = f->height * f->width * 2,
                                     .height = f->height,
                                     .width = f->width};
  enhance_depth_output output;
  if (!enhance_depth_process(handle, &input, &output, error)) {
    print_failure(handle, *error);
    return 0;
  }
  if (!write_pgm16(output_path, output.pred, f->width, f->height)) {
    return 0;
  }
  printf("%s: %d x %d, %.2f ms on the device, %s\n", output_path, f->width, f->height,
         (double)enhance_GetLastInferenceTime(handle),
         output.conf != NULL ? "with confidence" : "no confidence");
  return 1;
}

int main(int argc, char** argv) {
  if (argc < 5 || argc % 2 == 0) {
    fprintf(stderr, "usage: %s ENGINE OUTPUT COLOR.ppm DEPTH.pgm [COLOR.ppm DEPTH.pgm ...]\n", argv[0]);
    return 2;
  }
  /* One variable serves all calls: each frees the record of the one before. It must start as NULL. */
  enhance_error* error = NULL;
  enhance_depth_handle handle = enhance_depth_create(argv[1], &error);
  if (handle == NULL) {
    print_failure(NULL, error);
    enhance_delete_error(error);
    return 1;
  }
  int width = 640; /* what enhance_depth_create() configures */
  int height = 480;
  int failed = 0;
  for (int i = 3; i + 1 < argc; i += 2) {
    char output_path[4096];
    const int length = snprintf(output_path, sizeof output_path, "%s-%d.pgm", argv[2], (i - 3) / 2);
    frame f;
    int ok = read_frame(&f, argv[i], argv[i + 1]);
    if (ok && (length < 0 || length >= (int)sizeof output_path)) {
      fprintf(stderr, "%s: the name is too long\n", argv[2]);
      ok = 0;
    }
    if (ok && (f.width != width || f.height != height)) {
      width = f.width; /* kept when it fails, too: the next frame of another size then tries again */
      height = f.height;
      ok = enhance_depth_reset(handle, width, height, &error);
      if (!ok) {
        print_failure(handle, error);
      }
    }
    if (!ok || !refine(handle, &f, output_path, &error)) {
      ++failed;
    }
    free_frame(&f);
  }
  enhance_delete_error(error);
  enhance_depth_destroy(handle);
  if (failed > 0) {
    fprintf(stderr, "%d of %d frames failed\n", failed, (argc - 3) / 2);
  }
  return failed > 0 ? 1 : 0;
}
