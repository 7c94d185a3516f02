#include "bench/stage_inputs.h"

#include <algorithm>

namespace kalvetra::bench {

namespace {

// Edges do not feed the plate. The small copy's width is a multiple of 4, so the map is packed.
void blackOutEdges(Bytes& image, const Bytes& edges) {
  for (std::size_t i = 0; i < image.size() / 4; ++i) {
    if (edges[i] != 0) std::fill_n(image.data() + i * 4, 3, static_cast<unsigned char>(0));
  }
}

Bytes transparency(const Bytes& image) {
  Bytes plane;
  for (std::size_t i = 3; i < image.size(); i += 4) plane.push_back(static_cast<unsigned char>(255 - image[i]));
  return plane;
}

}  // namespace

StageInputs::StageInputs(const std::vector<Pass>& passes) : passes_(passes) {
  const Bytes image = reversedPixels(cameraFrame(kFrame, 0));
  const Bytes small = run("resample-down", image);
  Bytes backdrop = run("extract-backdrop", small);
  backdrop.resize(small.size());  // the map follows the image
  blackOutEdges(backdrop, run("laplacian", small));
  const Bytes contracted = run("contract-plate", backdrop);
  const Bytes expanded = run("expand-plate", contracted);
  const Bytes blurred = run("average-blur", expanded);
  plate_ = run("resample-up", blurred);
  const Bytes keyed = run("plate-key", image, plate_);
  sources_ = {{"", image},
              {"laplacian", small},
              {"extract-backdrop", small},
              {"exposure-tables", small},
              {"contract-plate", backdrop},
              {"expand-plate", contracted},
              {"average-blur", expanded},
              {"resample-up", blurred},
              {"plane-blur", transparency(keyed)},
              {"mask-blur", keyed},
              {"contract-matte", keyed},
              {"contract-matte-cross", keyed},
              {"contract-matte-square", keyed}};
}

const Bytes& StageInputs::source(const Pass& pass) const {
  const auto found = sources_.find(pass.name);
  return found != sources_.end() ? found->second : sources_.at("");
}

Bytes StageInputs::second(const Pass& pass) const {
  return pass.second == Second::Plate     ? plate_
         : pass.second == Second::Scratch ? Bytes(sourceBytes(pass, sizeFor(pass)))
                                          : Bytes();
}

Bytes StageInputs::run(const std::string& name, Bytes source, Bytes second) const {
  const Pass& pass = passNamed(passes_, name);
  const Size size = sizeFor(pass);
  Bytes result(pass.resultBytes(size));
  if (pass.inPlace) std::copy(source.begin(), source.end(), result.begin());
  pass.settings.front().run({size, source.data(), second.data(), result.data()});
  return result;
}

}  // namespace kalvetra::bench
