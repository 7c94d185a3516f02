// How good a matte looks by itself, without knowing the true one.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace kalvetra {

// One byte a pixel, 0 clear to 255 solid; rows packed, from top to bottom.
using MattePlane = std::vector<unsigned char>;

// One figure over a clip. Without a mean where no picture had a pixel to measure.
struct MatteFigure {
  std::optional<double> mean;   // over all measured pixels of all pictures
  double worst = 0.0;           // the highest mean of a single picture
  std::int64_t worstFrame = 0;  // its number, from 1; 0 when nothing was measured
};

// One picture of the clip.
struct PictureQuality {
  double clear = 0.0, partial = 0.0, solid = 0.0;  // shares of its pixels, 0..1, together 1: quite clear, quite solid
                                                   // and what lies between
  std::optional<double> flicker;                   // levels, 0..255; nothing where there was none to measure
};

struct MatteReport {
  std::int64_t frames = 0;
  MatteFigure flicker;                                           // levels, 0..255
  MatteFigure haze;                                              // mean alpha of the clear region, percent
  MatteFigure hazyPixels;                                        // share of it that is not quite clear, percent
  MatteFigure holes;                                             // mean of 1 - alpha in the solid region, percent
  double clearArea = 0, edgeBand = 0, solidArea = 0.0;           // shares of all pixels, percent; together 100
  double clearPixels = 0, partialPixels = 0, solidPixels = 0.0;  // likewise, by their own levels
};

// Takes the mattes of a clip in order; keeps four of them at most, and a few figures of each.
//
// Regions. A pixel belongs to the subject where the mean of the matte in a small box around it is at least one half;
// thus specks and even haze hardly move the outline. The margin is a 40th of the picture's shorter side, at least 4
// pixels; the box reaches a quarter of it. What has nothing but subject within the margin is the solid region, what
// has none is the clear region, and the rest is the edge band.
//
// Pixels. Whatever region it lies in, a pixel is quite clear up to 2 % (5 levels), quite solid from 98 % (250 levels),
// and partial between: haze and holes show there just as the edge does.
//
// Haze and holes are means over the whole clear and solid regions.
//
// Flicker. With d1, d2, d3 the differences between the matte at times t-1, t, t+1, t+2, each pixel of the edge band at
// t scores
//     min(|d1|, |d2|, |d3|)  where it turns back twice, that is, where the signs of the three alternate,
// and 0 elsewhere. An edge that moves on passes every pixel in one direction, one that turns round or a strand that
// sweeps by comes back once: both score nothing. One that boils goes up and down all the time. The mean is over those
// pixels of the band that are neither quite clear in all four pictures nor quite solid in all four, so that it does not
// depend on the margin. The first picture and the last two have no flicker of their own.
class MatteQuality {
 public:
  // The size of every matte, at least 1 x 1.
  MatteQuality(int width, int height);

  // The next picture's matte, of width x height bytes.
  void add(MattePlane matte);
  // Of all that was added so far. A picture's flicker is known once the two after it were added.
  MatteReport report() const;
  const std::vector<PictureQuality>& pictures() const { return pictures_; }

 private:
  enum Region : unsigned char { Clear, Edge, Solid };
  struct Picture {
    MattePlane matte;
    std::vector<Region> regions;
  };
  struct Sum {
    double value = 0.0;
    std::int64_t pixels = 0;
  };
  class Average {
   public:
    // Returns the picture's own mean.
    std::optional<double> add(const Sum& picture, double scale, std::int64_t frame);
    MatteFigure figure() const;

   private:
    MatteFigure figure_;
    double total_ = 0.0;
    std::int64_t pixels_ = 0;
  };

  std::vector<Region> regionsOf(const MattePlane& matte) const;
  static PictureQuality measurePixels(const MattePlane& matte);
  void measureRegions(const MattePlane& matte, const std::vector<Region>& regions);
  void measureFlicker(const MattePlane& newest);

  int width_, height_;
  int margin_, box_;  // pixels
  std::int64_t frames_ = 0;
  std::array<Picture, 3> last_;  // oldest first; empty while there are none
  Average flicker_, haze_, hazyPixels_, holes_;
  std::int64_t regionPixels_[3] = {};  // by Region
  std::vector<PictureQuality> pictures_;
};

}  // namespace kalvetra
