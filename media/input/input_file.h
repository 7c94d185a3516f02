// Opens what pictures are read from: a file, a picture of a sequence, raw pictures, or the standard input.
#pragma once

#include <atomic>
#include <string>

#include "media/ffmpeg.h"
#include "media/input/source_options.h"

namespace kalvetra {

struct IoDeleter {
  void operator()(AVIOContext* p) const {
    av_freep(&p->buffer);
    avio_context_free(&p);
  }
};

struct InputFile {
  std::unique_ptr<AVIOContext, IoDeleter> io;  // of the standard input; must outlive the container
  InputPtr container;
  bool isFragmented =
      false;  // an MP4 or QuickTime file whose header declares no duration, but each of its parts its own
};

// Opens `path` (kStandardInput for the standard input) and finds out what its streams hold. `name` is what messages
// call it. `stop`, once true, ends any waiting for data. Throws UserError.
InputFile openInput(const std::string& path, const std::string& name, const SourceOptions& options,
                    const std::atomic<bool>& stop);

// True for a file that is one still picture, as those of a sequence are.
bool isPictureFile(const AVFormatContext& container);

}  // namespace kalvetra
