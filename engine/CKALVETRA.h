// The keying passes and the routines that repair a background plate. No state; call them on an object on the stack.
//
// Images are packed 32-bit pixels (0 blue, 1 green, 2 red, 3 alpha) unless a row length is given; every buffer belongs
// to the caller. Working memory that cannot be had throws std::bad_alloc and leaves nothing allocated.
// Chroma geometry takes place in the (I, Q) plane of CImagingZEP::RGBtoYIQ2.
#pragma once

#include "engine/KALVETRA_Param.h"
#include "imaging/CImagingZEP.h"

class CKALVETRA {
 public:
  // Keys every pixel of param->pSrc against the key colour and writes colour and matte to param->pDst.
  // 0 when done, 2 for a null record. Source and result may be the same image.
  unsigned int MakeMask32bit007_2(KALVETRA_Param* param);

  // Estimates what the frame would look like without its subject (the background plate) and keys against that.
  // With nDeBlock set, the chroma of param->pSrc is blurred in place once the plate is taken.
  // 0 when done, 2 for a null record or an empty frame.
  unsigned int MakeMask32bit008_1(KALVETRA_Param* param);

  // Keys every pixel of param->pSrc against the pixel of `plate` at the same place (packed, of the frame's size).
  // 0 when done, 2 for a null record. No image may be null.
  unsigned int MakeChromaKeyMaskX9Core32bit14(KALVETRA_Param* param, unsigned char* plate);

  // Blacks out (bytes 0..2 = 0) the pixels that do not look like backdrop: outside the hue sector hue1..hue2 (degrees),
  // or more than 20 away in chroma from the key colour at the pixel's brightness. `map`, rows of Align8(width) bytes,
  // gets 255 for the latter and 0 for all others. 1 when done, 0 for a null image or map.
  unsigned int ExtractBack32bit(unsigned char* image, unsigned char* map, int width, int height, int rowBytes,
                                unsigned char keyR, unsigned char keyG, unsigned char keyB, int hue1, int hue2);

  // Fills two tables of 256 entries with the chroma that the key colour has at each luminance, by a logarithmic
  // exposure curve. 1 when done, 0 for a null table.
  unsigned int MakeBCCorrect(unsigned char keyR, unsigned char keyG, unsigned char keyB, YIQ keyYIQ, float* tableI,
                             float* tableQ);

  // Widens the holes of a plate by `count` pixels. A hole is a pixel whose red byte is 0. Always 1 on a valid image.
  unsigned int ContractBack32bit(unsigned char* image, int width, int height, int rowBytes, int count);

  // Fills the blacked-out pixels of a plate from the surviving ones around them; with the key colour where none
  // survives. 1 when done, 0 for a null image.
  unsigned int ExpandBack32bit8(unsigned char* image, int width, int height, int rowBytes, unsigned char keyR,
                                unsigned char keyG, unsigned char keyB);
};
