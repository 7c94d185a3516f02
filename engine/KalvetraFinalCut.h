// The render entry: one frame in host byte order in, one view of its key out.
#pragma once

// Views of the render entry.
enum { kKalvetraViewSource = 0, kKalvetraViewMatte = 1, kKalvetraViewResult = 2 };

// Renders the common area of both frames; the rest of the output is left as it was.
//
//  output, input      packed frames of 4 bytes a pixel: 0 alpha, 1 red, 2 green, 3 blue; straight alpha. They may not
//                     overlap. Both belong to the caller.
//  scaleX, scaleY     render scale, not used
//  view               0 source, 1 matte as an opaque grey picture, any other value the keyed result
//  keyRed..keyBlue    backdrop colour, each 0..1; where none exceeds 1/255, nothing is keyed
//  smoothBG           toggle: key against a background plate instead of the one key colour
//  shadow .. clipWhite, maskBlurValue, despill..., screenGain   0..100
//  deBlockValue       1..10 pixels;  contractMask 1..10 steps;  contractThreshold 0..50;  maskBlurRadius 1..100 pixels
//  skinHue, blueHue   -50..50, moves the hue bounds of the backdrop's sector
//
// Values out of range make the pipeline refuse the frame; the result view is then empty. An allocation of the entry's
// own that fails passes its exception to the caller and leaves nothing allocated; what the plain pipeline's passes meet
// is answered by its status, and the frame may then be partly keyed.
void KalvetraFinalCut(char* output, int outputWidth, int outputHeight, const char* input, int inputWidth,
                      int inputHeight, double scaleX, double scaleY, int view, double keyRed, double keyGreen,
                      double keyBlue, int smoothBG, int shadow, int clipBlack, int clipWhite, int deBlocking,
                      int deBlockValue, int edgeContract, int contractMask, int contractThreshold, int edgeBlur,
                      int maskBlurRadius, int maskBlurValue, int skinHue, int blueHue, int despillWhite,
                      int despillSkin, int despillBlue, int screenGain);

// Maps a percentage v, 0..100, to lo..hi.
double toValue(double hi, double lo, double v);
// Maps a signed percentage v, -50..50, to lo..hi.
double toValue2(double hi, double lo, double v);
// Inverse of toValue.
double toParcentage(double hi, double lo, double x);
// Inverse of toValue2.
double toParcentage2(double hi, double lo, double x);
