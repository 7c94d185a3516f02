// Stateless image-processing routines on raw byte buffers.
//
// Conventions of every routine here:
//  - A 32-bit pixel is 4 bytes: 0 blue, 1 green, 2 red, 3 alpha (the matte), each 0..255.
//  - Sizes are in pixels, strides and row lengths in bytes. "Packed" means a stride of exactly 4 * width.
//  - The caller owns every buffer. Nothing is kept between calls; two threads may work on different buffers at once.
//  - Routines that answer an int return 1 when done and, unless stated otherwise, 0 for a null buffer or a negative
//  radius
//    (nothing is done then). A width or height below 1 makes them do nothing.
//  - Working memory that cannot be had throws std::bad_alloc; the image is then as it was, unless stated otherwise.
//  - A float that is converted to an integer is truncated toward zero; out of range it saturates, and NaN gives 0.
#pragma once

// Luma and the two chroma axes of YIQ, in the units of the 0..255 RGB inputs.
struct YIQ {
  float Y;
  float I;
  float Q;
};

// Polar form of the colour differences R - Y and B - Y; not the textbook HLS cone.
struct HLS {
  float H;  // hue angle in degrees, atan2(R - Y, B - Y): pure green is 225
  float L;  // luma Y, 0..255
  float S;  // length of (R - Y, B - Y)
};

// Red, green and blue, nominally 0..255; routines that produce it do not clamp.
struct RGB {
  int R;
  int G;
  int B;
};

class CImagingZEP {
 public:
  // --- Colour spaces (imaging/color_spaces.cpp) ---------------------------------------------------------------------

  // Fixed point with 16 fractional bits; every component is an integer, rounded toward minus infinity.
  // Weights: the NTSC YIQ matrix times 65536, truncated.
  YIQ RGBtoYIQ(unsigned char R, unsigned char G, unsigned char B);

  // The NTSC YIQ matrix in single precision, each row summed left to right.
  YIQ RGBtoYIQ2(unsigned char R, unsigned char G, unsigned char B);

  // Inverse of RGBtoYIQ2, each channel truncated after adding 0.5. Results may lie outside 0..255.
  RGB YIQtoRGB2(YIQ yiq);

  // H in 0..360, L = Y, S = chroma length. Greys have S near 0 and an arbitrary H.
  HLS RGBtoHLS(unsigned char R, unsigned char G, unsigned char B);

  // The colour of hue H (any angle in degrees), luma L and chroma length S, as YIQ.
  YIQ HLStoYIQ(HLS hls);

  // --- Interpolation and strides ------------------------------------------------------------------------------------

  // y0 for x <= x0, y1 for x >= x1 or x not a number, linear in between. Never divides by zero.
  float LinerInter(float x, float x0, float x1, float y0, float y1);
  // The same between integers: the slope is formed in single precision, the result truncated.
  int LinerInter(int x, int x0, int x1, int y0, int y1);

  // Row stride in bytes of a one-byte-per-pixel map of width n. Rounds up to a multiple of 4, whatever its name says.
  int Align8(int n);

  // --- Blurs --------------------------------------------------------------------------------------------------------

  // Box-averages the chroma of a packed image in place with a window of 2 * radius + 1 pixels a side; luma stays sharp.
  // `scratch` has the image's size and may be clobbered. A radius below 1 still costs one round trip through Y, Cb, Cr,
  // and counts as done. Channel 3 stays. When memory runs out the image may be left as Y, Cb, Cr.
  int ChromaBlur32bit(int width, int height, unsigned char* image, unsigned char* scratch, int radius);

  // The box average of ChromaBlur32bit on an image that already holds Y, Cb, Cr in bytes 0, 1, 2.
  // A radius below 1 changes nothing, `scratch` included.
  int ChromaBlurCore3_32bit(int width, int height, unsigned char* image, unsigned char* scratch, int radius);

  // Box average of all four channels in place, rounded. Bytes of a row beyond 4 * width come back as zeros.
  int AverageBlurCore32bit6(unsigned char* image, int width, int height, int stride, int radius);

  // Box average times `gain` of a packed one-byte plane in place; truncated, so that even gain 1 may darken by one
  // level.
  int AverageBlurA(int width, int height, unsigned char* plane, float radius, float gain);

  // Softens and pulls in the edge of the matte in channel 3 of a packed image. `amount` in percent; erosion up to
  // `offset` levels is left out.
  int MaskBlur(int width, int height, unsigned char* image, int radius, int amount, int offset);

  // --- Resampling (imaging/resample.cpp) ----------------------------------------------------------------------------

  // Resizes bytes 0..2 of `src` into `dst` with a separable windowed sinc of `lobes` lobes; byte 3 of `dst` is kept.
  // filter 0: Lanczos; filter 1: sinc cut off at 0.85 of Nyquist under the same window. The buffers must not overlap.
  int DF_WH32bit5_1(unsigned char* src, int srcWidth, int srcHeight, int srcStride, unsigned char* dst, int dstWidth,
                    int dstHeight, int dstStride, int filter, int lobes);

  // Its kernel at distance x: 1 at 0, 0 from |x| = lobes on. Lanczos: sinc(x) * sinc(x / lobes).
  float DF_weight(double x, int lobes, int filter);

  // --- Edges, fields, contraction -----------------------------------------------------------------------------------

  // Writes a one-byte edge map of `src`: the positive 3 x 3 Laplacian, averaged over bytes 0..2, divided by 8; 0 where
  // the average is below `threshold`. dstWidth and dstHeight are not read; `dst` must hold width x height bytes.
  int Laplacian32bit8(unsigned char* src, int width, int height, int srcStride, unsigned char* dst, int dstWidth,
                      int dstHeight, int dstStride, int threshold);

  // Splits a packed frame into its fields, and weaves them back: odd rows 1, 3, 5 ... (height / 2 of them) and even
  // rows 0, 2, 4 ... ((height + 1) / 2). The odd field comes first among the arguments. Always 1; a field without rows
  // may be null, the frame may not.
  int SepareteField32bit(int width, int height, unsigned char* frame, unsigned char* oddField,
                         unsigned char* evenField);
  int CompositeField32bit(int width, int height, unsigned char* frame, unsigned char* oddField,
                          unsigned char* evenField);

  // Chokes the matte in channel 3 of a packed image by `steps` one-pixel steps, cross and square in turn. A pixel falls
  // to no less than its neighbourhood's minimum + slack. The outermost rows and columns never change.
  int ContGray7(int width, int height, unsigned char* image, int steps, int slack);
  int ContGrayCore4(int width, int height, unsigned char* image, int slack);  // one step, 4 neighbours
  int ContGrayCore8(int width, int height, unsigned char* image, int slack);  // one step, 8 neighbours
};
