#include "preview/api/answers.h"

#include "jobs/auto_settings.h"
#include "support/number_text.h"

namespace kalvetra {

Answer jsonAnswer(const Json& json) {
  Answer answer;
  answer.body = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  return answer;
}

Answer pictureAnswer(const RenderedView& view, int scale) {
  Answer answer;
  answer.type = "application/octet-stream";
  answer.bytes = view.rgba;
  answer.headers = {{"X-Width", std::to_string(view.width)},
                    {"X-Height", std::to_string(view.height)},
                    {"X-Scale", std::to_string(scale)}};
  return answer;
}

Json asJson(const MeasuredColor& color) {
  return {{"mean", {color.red, color.green, color.blue}},
          {"hex", hexColor(color.red, color.green, color.blue)},
          {"pixels", color.pixels},
          {"lumaSpread", rounded(color.lumaSpread)},
          {"chromaSpread", rounded(color.chromaSpread)}};
}

Json asJson(const BackdropColor& color) {
  return {{"color", hexColor(color.red, color.green, color.blue)},
          {"confidence", rounded(color.confidence)},
          {"lumaSpread", rounded(color.lumaSpread)},
          {"chromaSpread", rounded(color.chromaSpread)},
          {"unevenness", rounded(color.unevenness)},
          {"reason", color.reason}};
}

}  // namespace kalvetra
