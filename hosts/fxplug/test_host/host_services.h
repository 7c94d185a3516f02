// The host's side of the interface: its services and its images, as objects that the filter talks to.
#pragma once

#import "hosts/fxplug/FxPlug/HostInterface.h"

#include <mutex>

#include "hosts/fxplug/test_host/hosted_filter.h"

namespace kalvetra::fxhost {

// What the services work on. Shared by all threads that render.
struct ServiceState {
  std::mutex mutex;
  Faults faults;
  std::vector<HostParameter> parameters;
  std::vector<std::string> calls;
  int openGroups = 0;
  bool recording = true;

  // Makes and keeps the line only while recording.
  template <class... Parts>
  void record(const Parts&... parts) {
    if (recording) calls.push_back((std::string() + ... + parts));
  }
  HostParameter* find(int id);
};

// Live objects of the classes below.
long liveServiceObjects();

}  // namespace kalvetra::fxhost

// Stands for the API manager and for every service. Does not own the state.
@interface KalvetraHostServices : NSObject <PROAPIAccessing,
                                            FxParameterCreationAPI,
                                            FxParameterRetrievalAPI,
                                            FxParameterSettingAPI,
                                            FxCustomParameterActionAPI> {
  kalvetra::fxhost::ServiceState* _state;
}
- (id)initWithState:(kalvetra::fxhost::ServiceState*)state;
@end

// An image in memory that belongs to somebody else.
@interface KalvetraHostImage : FxBitmap {
  const kalvetra::fxhost::HostPicture* _picture;
  void* _data;
}
- (id)initWithPicture:(const kalvetra::fxhost::HostPicture*)picture data:(void*)data;
@end
