/* Reads and writes the simplest of image files: binary PPM (8-bit colour) and binary PGM (16-bit grey). */
#ifndef PNM_H
#define PNM_H

#include <stdint.h>

/* Reads an 8-bit binary PPM ("P6"). Returns width * height * 3 bytes, red, green and blue of each pixel
   together, to be freed with free(); or NULL after printing the reason to standard error. */
uint8_t* read_ppm(const char* path, int* width, int* height);

/* Reads a 16-bit binary PGM ("P5"). Returns width * height values, to be freed with free(); or NULL after
   printing the reason to standard error. */
uint16_t* read_pgm16(const char* path, int* width, int* height);

/* Writes a 16-bit binary PGM. Returns 1, or 0 after printing the reason to standard error. */
int write_pgm16(const char* path, const uint16_t* pixels, int width, int height);

#endif
