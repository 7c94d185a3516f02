// What can be shown of a frame, and what it is called.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace kalvetra {

// The first three are the settings' views, in the order of their menu.
enum class ShownView {
  Source,
  Matte,
  Result,
  Plate,      // the estimated backdrop
  Status,     // the matte with its doubtful pixels in colour
  Composite,  // the result over a background
};

struct ViewName {
  ShownView view;
  std::string_view slug;   // on command lines and in requests
  std::string_view label;  // on the preview's page
};

// In the order of the enumeration.
inline constexpr std::array<ViewName, 6> kViewNames{{
    {ShownView::Source, "source", "Source"},
    {ShownView::Matte, "matte", "Matte"},
    {ShownView::Result, "result", "Result"},
    {ShownView::Plate, "plate", "Plate"},
    {ShownView::Status, "status", "Status"},
    {ShownView::Composite, "comp", "Result over the background"},
}};

constexpr std::string_view slugOf(ShownView view) { return kViewNames[static_cast<std::size_t>(view)].slug; }

// The view of that slug, nothing where there is none.
constexpr std::optional<ShownView> findView(std::string_view slug) {
  for (const ViewName& name : kViewNames) {
    if (name.slug == slug) return name.view;
  }
  return std::nullopt;
}

// The slugs from that view on, as messages list them: "plate, status, comp".
inline std::string viewSlugs(ShownView first = ShownView::Source) {
  std::string slugs;
  for (const ViewName& name : kViewNames) {
    if (name.view >= first) slugs += (slugs.empty() ? "" : ", ") + std::string(name.slug);
  }
  return slugs;
}

}  // namespace kalvetra
