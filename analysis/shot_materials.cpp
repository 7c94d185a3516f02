#include "analysis/shot_materials.h"

#include "deep/render.h"
#include "imaging/memory.h"
#include "parameters/parameter_table.h"
#include "refine/despill.h"

namespace kalvetra {

namespace {

KeySettings asDelivered(const KeySettings& given) {
  KeySettings settings = defaultSettings();
  settings.keyColor = given.keyColor;
  settings.screen = given.screen;
  settings.smoothBG = given.smoothBG;
  return settings;
}

}  // namespace

void addMaterialsOf(const ConstFrame& source, const KeySettings& settings, const RenderOptions& options,
                    refine::MaterialGathering& gathering) {
  const KeySettings plain = asDelivered(settings);
  const std::size_t pixels = static_cast<std::size_t>(source.width) * static_cast<std::size_t>(source.height);
  const std::unique_ptr<float[]> memory = uninitialized<float>(4 * pixels);
  const Frame keyed =
      packedFrame(reinterpret_cast<unsigned char*>(memory.get()), source.width, source.height, PixelFormat::RgbaF32);
  renderDeep(plain, source, keyed, options);
  refine::lookAt({source, options.plate, plain, options.scan}, keyed, gathering, options.workers);
}

}  // namespace kalvetra
