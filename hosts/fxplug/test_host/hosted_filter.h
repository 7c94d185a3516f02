// A small host for the filter bundle: loads it from its path, gives it the services of an editing application and
// records every call that it makes. Plain C++ outside; the Objective-C stays in hosted_filter.mm.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace kalvetra::fxhost {

enum class Kind { Group, Popup, Color, Toggle, IntSlider };

// A parameter as the filter created it, with its value and flags now.
struct HostParameter {
  int id = 0;
  Kind kind = Kind::Group;
  std::string name;      // the localised text
  int depth = 0;         // number of groups round it
  double value[3] = {};  // red, green, blue of a colour; the first alone otherwise
  int minimum = 0, maximum = 0, sliderMinimum = 0, sliderMaximum = 0, delta = 0;
  std::vector<std::string> entries;  // of a popup
  unsigned int flags = 0;
  bool disabled() const { return (flags & 4u) != 0; }
};

// A host's picture: 8 bits as bytes alpha, red, green, blue, or 32 bits as floats red, green, blue, alpha; packed.
struct HostPicture {
  int width = 0;
  int height = 0;
  unsigned int depth = 8;      // bits a component
  unsigned int imageType = 1;  // 1 bitmap, 2 texture
  bool premultiplied = false;
  std::vector<unsigned char> data;

  HostPicture() = default;
  HostPicture(int w, int h, unsigned int bits)
      : width(w),
        height(h),
        depth(bits),
        data(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * (bits / 2), 0) {}
  float* floats() { return reinterpret_cast<float*>(data.data()); }
};

// What the bundle's registration record says of its one filter.
struct Registration {
  std::string className, displayName, groupName, filterId, protocolName, version;
  std::string groupId;         // of the group
  std::string filtersGroupId;  // of the group that the filter says it belongs to
  bool dynamic = true;         // registered by code instead of by the record
};

// Services by the names of their protocols, as Faults::withheld takes them.
inline constexpr const char* kCreation = "FxParameterCreationAPI";
inline constexpr const char* kRetrieval = "FxParameterRetrievalAPI";
inline constexpr const char* kSetting = "FxParameterSettingAPI";
inline constexpr const char* kAction = "FxCustomParameterActionAPI";

// What the host does wrong on purpose.
struct Faults {
  std::set<std::string> withheld;  // services that are not there
  std::set<int> unreadable;        // parameters whose reads fail
};

class HostedFilter {
 public:
  // Loads the bundle and makes one instance of the class that its record names. `language` ("en", "ja") chooses the
  // texts; the first one used in a process stays. Throws UserError when the bundle is no good.
  HostedFilter(const std::string& bundlePath, const std::string& language);
  ~HostedFilter();  // releases the instance
  HostedFilter(const HostedFilter&) = delete;
  HostedFilter& operator=(const HostedFilter&) = delete;

  const Registration& registration() const;
  // The text that the bundle's string table has for a key; the key itself where it has none.
  std::string localized(const std::string& key) const;
  Faults& faults();
  // The filter's calls since the last time, in order, as "method arguments".
  std::vector<std::string> takeCalls();
  void recordCalls(bool on);  // on at first

  std::vector<HostParameter>& parameters();
  HostParameter& parameter(int id);  // throws UserError when there is none

  // Each as its Objective-C type code and its value: "c 0", "i 0".
  std::map<std::string, std::string> properties() const;
  float cachedBright() const;  // an instance variable of the filter
  bool variesOverTime() const;
  bool addParameters();
  bool parameterChanged(int id);
  bool enable(int id, unsigned char value);
  // The size that the filter wants for an input; false as the filter answers. Null pointers are passed on.
  bool outputSize(const HostPicture& input, std::uint32_t* width, std::uint32_t* height) const;
  bool frameSetup(const HostPicture& input, bool& hardware, bool& software) const;
  bool render(HostPicture& output, const HostPicture& input, double time = 0.0) const;
  bool frameCleanup() const;

  // Objects of the filter's class and of the host's own classes that are alive in this process.
  static long liveObjects();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kalvetra::fxhost
