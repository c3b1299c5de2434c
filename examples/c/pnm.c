#include "pnm.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { LARGEST_SIDE = 16384 };

/* The next number of the header, after white space and comments; -1 if there is none. */
static int read_number(FILE* file) {
  int value = -1;
  int c = fgetc(file);
  while (isspace(c) || c == '#') {
    if (c == '#') {
      while (c != '\n' && c != EOF) {
        c = fgetc(file);
      }
    }
    c = fgetc(file);
  }
  for (; isdigit(c); c = fgetc(file)) {
    if (value > 100000) {
      return -1;
    }
    value = (value < 0 ? 0 : value) * 10 + (c - '0');
  }
  return isspace(c) ? value : -1; /* exactly one white space ends the header */
}

/* Reads the header and the bytes of all pixels after it. */
static void* read_pnm(const char* path, char kind, int largest_value, size_t bytes_per_pixel, int* width,
                      int* height) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) {
    fprintf(stderr, "%s: %s\n", path, strerror(errno));
    return NULL;
  }
  void* pixels = NULL;
  if (fgetc(file) != 'P' || fgetc(file) != kind) {
    fprintf(stderr, "%s: not a binary PNM file of kind P%c\n", path, kind);
  } else if ((*width = read_number(file)) < 1 || *width > LARGEST_SIDE || (*height = read_number(file)) < 1 ||
             *height > LARGEST_SIDE) {
    fprintf(stderr, "%s: the image size cannot be read or is too large\n", path);
  } else if (read_number(file) != largest_value) {
    fprintf(stderr, "%s: the largest value must be %d\n", path, largest_value);
  } else {
    const size_t size = (size_t)*width * (size_t)*height * bytes_per_pixel;
    pixels = malloc(size);
    if (pixels == NULL) {
      fprintf(stderr, "%s: no memory for %zu bytes\n", path, size);
    } else if (fread(pixels, 1, size, file) != size) {
      fprintf(stderr, "%s: the file ends before the image does\n", path);
      free(pixels);
      pixels = NULL;
    }
  }
  fclose(file);
  return pixels;
}

uint8_t* read_ppm(const char* path, int* width, int* height) {
  return read_pnm(path, '6', 255, 3, width, height);
}

uint16_t* read_pgm16(const char* path, int* width, int* height) {
  uint16_t* pixels = read_pnm(path, '5', 65535, 2, width, height);
  if (pixels != NULL) { /* the file has the high byte first */
    const size_t count = (size_t)*width * (size_t)*height;
    const uint8_t* bytes = (const uint8_t*)pixels;
    for (size_t i = 0; i < count; ++i) {
      pixels[i] = (uint16_t)(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
  }
  return pixels;
}

int write_pgm16(const char* path, const uint16_t* pixels, int width, int height) {
  FILE* file = fopen(path, "wb");
  if (file == NULL) {
    fprintf(stderr, "%s: %s\n", path, strerror(errno));
    return 0;
  }
  const size_t count = (size_t)width * (size_t)height;
  int written = fprintf(file, "P5\n%d %d\n65535\n", width, height) > 0;
  for (size_t i = 0; written && i < count; ++i) {
    const uint8_t bytes[2] = {(uint8_t)(pixels[i] >> 8), (uint8_t)(pixels[i] & 0xFF)};
    written = fwrite(bytes, 1, 2, file) == 2;
  }
  if (fclose(file) != 0) {
    written = 0; /* a full disk shows here at the latest */
  }
  if (!written) {
    fprintf(stderr, "%s: %s\n", path, strerror(errno));
  }
  return written;
}
