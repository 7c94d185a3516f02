#include "media/input/input_file.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <string_view>

#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kStdinBuffer = 1 << 16;  // bytes
constexpr int kPollInterval = 100;     // milliseconds between two looks at `stop`

int stopRequested(void* stop) { return static_cast<const std::atomic<bool>*>(stop)->load() ? 1 : 0; }

// Waits for data in small steps, so that an interrupt ends it whichever thread it reaches.
int readStandardInput(void* stop, std::uint8_t* buffer, int size) {
  while (stopRequested(stop) == 0) {
    pollfd wanted{STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&wanted, 1, kPollInterval);
    if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
    const ssize_t got = ready < 0 ? -1 : read(STDIN_FILENO, buffer, static_cast<std::size_t>(size));
    if (got < 0) return AVERROR(errno);
    return got == 0 ? AVERROR_EOF : static_cast<int>(got);
  }
  return AVERROR_EXIT;
}

std::int64_t seekStandardInput(void*, std::int64_t offset, int whence) {
  if (whence == AVSEEK_SIZE) {
    struct stat status {};
    return fstat(STDIN_FILENO, &status) == 0 ? status.st_size : -1;
  }
  return lseek(STDIN_FILENO, offset, whence & ~AVSEEK_FORCE);
}

// True for a file that the shell put there, as `< clip.mp4` does.
bool isWholeFile() {
  struct stat status {};
  return fstat(STDIN_FILENO, &status) == 0 && S_ISREG(status.st_mode) && lseek(STDIN_FILENO, 0, SEEK_CUR) == 0;
}

std::unique_ptr<AVIOContext, IoDeleter> openStandardInput(const std::atomic<bool>& stop) {
  if (isatty(STDIN_FILENO) != 0) throw UserError("the standard input is a terminal; pipe a clip into it");
  auto* buffer = static_cast<unsigned char*>(av_malloc(kStdinBuffer));
  if (buffer == nullptr) throw std::bad_alloc();
  const bool seekable = isWholeFile();
  AVIOContext* io = avio_alloc_context(buffer, kStdinBuffer, 0, const_cast<std::atomic<bool>*>(&stop),
                                       readStandardInput, nullptr, seekable ? seekStandardInput : nullptr);
  if (io == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  return std::unique_ptr<AVIOContext, IoDeleter>(io);
}

void checkFile(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) throw UserError(path + ": there is no such file; check the name");
  if (std::filesystem::is_directory(path, ignored)) {
    throw UserError(path + ": is a folder; name a file, or a sequence like " + path + "/name-%05d.png");
  }
}

// The demuxer options of a source. A demuxer ignores those that it does not know.
AVDictionary* demuxerOptions(const SourceOptions& options) {
  AVDictionary* all = nullptr;
  av_dict_set(&all, "pattern_type", "none", 0);  // a % or * in a file's name means itself
  const AVRational rate = options.raw ? options.raw->rate : options.sequenceRate;
  av_dict_set(&all, "framerate", (std::to_string(rate.num) + "/" + std::to_string(rate.den)).c_str(), 0);
  if (options.raw) {
    av_dict_set(&all, "pixel_format", av_get_pix_fmt_name(options.raw->format), 0);
    const std::string size = std::to_string(options.raw->storedWidth()) + "x" + std::to_string(options.raw->height);
    av_dict_set(&all, "video_size", size.c_str(), 0);
  }
  return all;
}

// MP4 and QuickTime keep an index of their pictures, without which none can be found. From a pipe, what lies before the
// index is gone once that is read.
bool isIndexAfterPictures(const AVFormatContext& container) {
  if ((container.pb->seekable & AVIO_SEEKABLE_NORMAL) != 0) return false;
  std::int64_t first = std::numeric_limits<std::int64_t>::max();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVIndexEntry* entry = avformat_index_get_entry(container.streams[i], 0);
    if (entry != nullptr) first = std::min(first, entry->pos);
  }
  return first < avio_tell(container.pb) && avio_seek(container.pb, first, SEEK_SET) < 0;
}

}  // namespace

bool isPictureFile(const AVFormatContext& container) {
  const std::string_view demuxer = container.iformat->name;
  return demuxer.ends_with("_pipe") || demuxer.starts_with("image2");
}

InputFile openInput(const std::string& path, const std::string& name, const SourceOptions& options,
                    const std::atomic<bool>& stop) {
  InputFile file;
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  file.container.reset(context);
  const bool piped = path == kStandardInput;
  if (piped) {
    file.io = openStandardInput(stop);
    context->pb = file.io.get();
  } else {
    checkFile(path);
  }
  context->interrupt_callback = {stopRequested, const_cast<std::atomic<bool>*>(&stop)};
  AVDictionary* demuxing = demuxerOptions(options);
  const AVInputFormat* format = options.raw ? av_find_input_format("rawvideo") : nullptr;
  file.container.release();  // what follows frees it on failure
  const int error = avformat_open_input(&context, piped ? "" : fileAddress(path).c_str(), format, &demuxing);
  av_dict_free(&demuxing);
  if (error == AVERROR_INVALIDDATA) {
    throw UserError(name + ": is not a video, image or sequence that can be read; check the file or convert it");
  }
  if (error < 0) {
    throw UserError(name + ": cannot be opened (" + errorText(error) + "); check the name and its permissions");
  }
  file.container.reset(context);
  if (piped && isIndexAfterPictures(*context)) {
    throw UserError(name +
                    ": the index of this file lies at its end, which a pipe cannot go back from; name the file " +
                    "itself, or write it with -movflags +faststart");
  }
  file.isFragmented = context->duration == AV_NOPTS_VALUE &&
                      std::string_view(context->iformat->name).find("mp4") != std::string_view::npos;
  avformat_find_stream_info(context, nullptr);  // what it does not find is missed by the caller
  return file;
}

}  // namespace kalvetra
