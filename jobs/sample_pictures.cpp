#include "jobs/sample_pictures.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <fstream>

#include "media/files/write_failure.h"

namespace kalvetra {

namespace {

bool isPowerOfTwo(std::int64_t n) { return n > 0 && std::has_single_bit(static_cast<std::uint64_t>(n)); }

// The power of two nearest to the middle of 3 pictures or more.
std::int64_t middleOf(std::int64_t count) {
  const auto lower = static_cast<std::int64_t>(std::bit_floor(static_cast<std::uint64_t>(count / 2)));
  const std::int64_t upper = 2 * lower;
  return count - 2 * lower > 2 * upper - count ? upper : lower;
}

template <class Value>
void put(std::ostream& out, Value value) {
  out.write(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class Value>
Value get(std::istream& in) {
  Value value{};
  in.read(reinterpret_cast<char*>(&value), sizeof value);
  return value;
}

}  // namespace

Image sampleOf(const Image& image) {
  constexpr double kMostPixels = 2.5e6;
  const double pixels = static_cast<double>(image.width) * image.height;
  if (!image.isDeep() || pixels <= kMostPixels) return image;
  const int step = 2 * static_cast<int>(pixels / kMostPixels / 2.0) + 3;
  Image rows(image.width, (image.height + step - 1) / step, image.format);
  for (int y = 0; y < rows.height; ++y) std::copy_n(image.floats(y * step), 4 * image.width, rows.floats(y));
  return rows;
}

bool isSample(std::int64_t index, bool isLast) { return isLast || index == 0 || isPowerOfTwo(index); }

void SamplePictures::add(std::int64_t index, Image image) {
  // Kept: the first, the newest, and the powers of two that may still be the middle.
  std::erase_if(pictures_, [index](const auto& entry) {
    return entry.first != 0 && (!isPowerOfTwo(entry.first) || entry.first < index / 4);
  });
  pictures_.insert_or_assign(index, std::move(image));
}

std::map<std::int64_t, Image> SamplePictures::chosen(std::int64_t count) const {
  std::map<std::int64_t, Image> result;
  for (const std::int64_t index : {std::int64_t{0}, count > 2 ? middleOf(count) : 0, count - 1}) {
    const auto found = pictures_.find(index);
    if (found != pictures_.end()) result.insert(*found);
  }
  return result;
}

void SamplePictures::save(const std::filesystem::path& path, const std::string& shownName) const {
  const std::string temporary = path.string() + ".new";
  errno = 0;
  std::ofstream out(temporary, std::ios::binary);
  put(out, pictures_.size());
  for (const auto& [index, image] : pictures_) {
    put(out, index);
    put(out, image.width);
    put(out, image.height);
    put(out, image.isDeep());
    out.write(reinterpret_cast<const char*>(image.bytes.data()), static_cast<std::streamsize>(image.bytes.size()));
  }
  out.close();
  if (!out) failWriting(shownName, errno);
  std::error_code error;
  std::filesystem::rename(temporary, path, error);
  if (error) failWriting(shownName, error.message());
}

void SamplePictures::load(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::map<std::int64_t, Image> read;
  const auto count = get<std::size_t>(in);
  for (std::size_t i = 0; i < count && in; ++i) {
    const auto index = get<std::int64_t>(in);
    const int width = get<int>(in), height = get<int>(in);
    const auto format = get<bool>(in) ? PixelFormat::RgbaF32 : PixelFormat::Argb8;
    if (!in || width < 1 || height < 1 || width > 65535 || height > 65535) return;
    Image image(width, height, format);
    in.read(reinterpret_cast<char*>(image.bytes.data()), static_cast<std::streamsize>(image.bytes.size()));
    read.emplace(index, std::move(image));
  }
  if (in) pictures_ = std::move(read);
}

}  // namespace kalvetra
