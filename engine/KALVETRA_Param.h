// The two plain records that carry everything a keying pass needs. Neither owns anything.
#pragma once

#include <cstdint>

// Images, size, key colour and the user settings in engine units. Paired fields hold one value twice; only the first
// element is read. The driver refuses a record whose values leave the ranges given here.
struct KALVETRA_Param {
  // Packed 32-bit images of nWidth x nHeight pixels: 0 blue, 1 green, 2 red, 3 alpha. Both belong to the caller.
  unsigned char* pSrc;  // the frame; deblocking changes it in place. Never null.
  unsigned char* pDst;  // the result: despilled colour, the matte in byte 3. Never null.
  unsigned char* pAux;  // not read

  std::uint16_t nWidth;
  std::uint16_t nHeight;

  unsigned char keyColor[3][2];  // red, green, blue of the backdrop, 0..255

  std::uint16_t nScreenGain[2];    // 0..30, hundredths of the way from the key colour to grey
  std::uint16_t nShadow[2];        // 0..100; 100 keeps shadows at their linear density
  std::uint16_t nSkinHue[2];       // 120..170 degrees, lower hue bound of the backdrop's sector
  std::uint16_t nBlueHue[2];       // 250..330 degrees, upper hue bound
  std::uint16_t nDespillWhite[2];  // 0..100
  std::uint16_t nDespillSkin[2];   // 0..50 degrees
  std::uint16_t nDespillBlue[2];   // 0..50 degrees

  std::uint16_t nReserved1;
  std::uint16_t nReserved2;

  std::uint16_t nDeBlock;            // radius of the chroma blur in pixels, 0 for none
  std::uint16_t nContractMask;       // contraction steps, 0 for none
  std::uint16_t nContractThreshold;  // 0..255, slack of the contraction

  std::uint32_t bSmoothBG;  // 0: key against the key colour; otherwise against a background plate

  std::uint32_t nReserved3;
  std::uint32_t nReserved4;
  std::uint16_t nReserved5;
  std::uint16_t nReserved6;
  std::uint16_t nReserved7;
  std::uint16_t nReserved8;

  std::uint16_t nMaskBlurRadius;  // pixels, 0 for no edge blur
  std::uint16_t nMaskBlurValue;   // 0..100 percent
  std::uint16_t nMaskBlurOffset;  // 0..255, erosion below which nothing happens
};

// How the frame is to be treated as video.
struct KALVEVIE_Param {
  std::uint32_t bFieldSeparate;  // non-zero: key the two interlaced fields apart and weave them back
};
