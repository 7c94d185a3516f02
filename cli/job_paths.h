// From the names on the command line to the jobs that are meant.
#pragma once

#include "cli/job_options.h"

namespace kalvetra {

// Tells the inputs from the output and checks that they fit. Throws CLI errors for what cannot be meant, UserError for
// what cannot be done.
void splitPaths(JobOptions& options);

// What the main output shows.
struct MainView {
  ShownView view = ShownView::Result;
  bool animated = false;  // the settings say for each frame
};

// A background and a main output that can hold no alpha: its composite is meant. The sentence that says so, else empty.
std::string impliedComposite(const JobOptions& options, MainView view);

// Throws a CLI error where a background is needed or would not be seen.
void checkBackground(const JobOptions& options, ShownView mainView);

// The job for one of the inputs.
KeyJob jobFor(const JobOptions& options, const std::string& input, MainView view);

}  // namespace kalvetra
