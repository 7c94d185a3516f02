// One output that the user wants of the clip: what the export makes, and what the equivalent command says.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "jobs/key_job.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

struct KeyRequest {
  AnimatedSettings settings;
  ClipRange range;
  std::optional<ShownView> view{};  // in place of the settings' view
  std::string over{};               // of the composite: #rrggbb or a file
  std::string purpose{}, codec{};   // like DeliveryRequest's
  bool keepPartial = false;         // what can be keyed of a damaged clip
  DepthChoice depth = DepthChoice::Auto;
};

// A choice of depth as the command line and the page name it: "auto", "8", "deep".
std::string slugOf(DepthChoice depth);
std::optional<DepthChoice> findDepth(const std::string& slug);

// The name, where it has no ending with the one that is usual for the chosen kind of file. Throws UserError for an
// unknown purpose or codec.
std::string withEnding(const std::string& name, const KeyRequest& request);

// The clip's job, as yet without outputs, made one that writes the request to `path`; nothing is opened. Throws
// UserError for what does not fit together.
KeyJob keyJobFor(const KeyJob& clip, const KeyRequest& request, const std::string& path, bool replace);

}  // namespace kalvetra
