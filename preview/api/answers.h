// Answers that several routes give.
#pragma once

#include "analysis/backdrop_color.h"
#include "preview/api/request_json.h"
#include "preview/clip/renderer.h"
#include "preview/http/routes.h"

namespace kalvetra {

// Texts that are not UTF-8 come out with a mark in place of what is not.
Answer jsonAnswer(const Json& json);

// Pixels, their size in headers.
Answer pictureAnswer(const RenderedView& view, int scale);

// A colour as api/sample answers it, and as api/pick does.
Json asJson(const MeasuredColor& color);
Json asJson(const BackdropColor& color);

}  // namespace kalvetra
