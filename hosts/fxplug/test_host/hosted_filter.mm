#import "hosts/fxplug/test_host/hosted_filter.h"

#undef NDEBUG  // the header hides its object counters from release builds; the library has them all the same
#import <Foundation/NSDebug.h>

#include <unistd.h>

#import <objc/runtime.h>

#include <cstring>
#include <filesystem>

#import "hosts/fxplug/KalvetraGreen.h"
#import "hosts/fxplug/test_host/host_services.h"
#include "support/user_error.h"

namespace kalvetra::fxhost {

namespace {

// Objective-C's temporary objects of one call.
class Pool {
 public:
  Pool() : pool_([[NSAutoreleasePool alloc] init]) {}
  ~Pool() { [pool_ release]; }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

 private:
  NSAutoreleasePool* pool_;
};

NSString* string(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

std::string text(id object) {
  return [object isKindOfClass:[NSString class]] ? std::string([(NSString*)object UTF8String]) : std::string();
}

// The runtime takes its languages from the program's arguments, before anything else is asked of it.
void chooseLanguage(const std::string& language) {
  static const bool chosen = [&language] {
    std::string arguments[] = {"kalvetra-fxhost", "-NSLanguages", "(" + language + ")"};
    char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
    GSInitializeProcess(3, argv, environ);
    return true;
  }();
  (void)chosen;
}

NSDictionary* firstOf(NSBundle* bundle, NSString* key, const std::string& path) {
  id list = [[bundle infoDictionary] objectForKey:key];
  if (![list isKindOfClass:[NSArray class]] || [list count] == 0) {
    throw UserError(path + ": its registration record lacks " + text(key) + "; build the bundle again");
  }
  return [list objectAtIndex:0];
}

Registration readRegistration(NSBundle* bundle, const std::string& path) {
  NSDictionary* filter = firstOf(bundle, @"ProPlugPlugInList", path);
  NSDictionary* group = firstOf(bundle, @"ProPlugPlugInGroupList", path);
  Registration r;
  r.className = text([filter objectForKey:@"className"]);
  r.displayName = text([filter objectForKey:@"displayName"]);
  r.filterId = text([filter objectForKey:@"uuid"]);
  r.groupId = text([group objectForKey:@"uuid"]);
  r.filtersGroupId = text([filter objectForKey:@"group"]);
  r.dynamic = [[[bundle infoDictionary] objectForKey:@"ProPlugDynamicRegistration"] boolValue] != NO;
  r.groupName = text([group objectForKey:@"groupName"]);
  r.protocolName = text([[filter objectForKey:@"protocolNames"] objectAtIndex:0]);
  r.version = text([filter objectForKey:@"version"]);
  return r;
}

FxRenderInfo renderInfo(double time) {
  FxRenderInfo info = {};
  info.frame = time;
  info.scaleX = info.scaleY = 1.0;
  return info;
}

FxImageInfo imageInfo(const HostPicture& picture) {
  FxImageInfo info = {};
  info.width = static_cast<UInt32>(picture.width);
  info.height = static_cast<UInt32>(picture.height);
  info.depth = picture.depth;
  info.activeChannels = 4;
  info.imageType = picture.imageType;
  info.pixelAspect = 1.0;
  return info;
}

Class filterClass = Nil;

}  // namespace

struct HostedFilter::State {
  ServiceState services;
  Registration registration;
  NSBundle* bundle = nil;
  KalvetraHostServices* manager = nil;
  KalvetraGreen* filter = nil;
};

HostedFilter::HostedFilter(const std::string& bundlePath, const std::string& language)
    : state_(std::make_unique<State>()) {
  chooseLanguage(language);
  const Pool pool;
  GSDebugAllocationActive(YES);
  const std::string path = std::filesystem::absolute(bundlePath).string();  // a relative one is not found
  state_->bundle = [NSBundle bundleWithPath:string(path)];
  if (state_->bundle == nil) throw UserError(bundlePath + ": there is no bundle; name the folder KalvetraGreen.bundle");
  state_->registration = readRegistration(state_->bundle, bundlePath);
  Class principal = [state_->bundle classNamed:string(state_->registration.className)];
  if (principal == Nil)
    throw UserError(bundlePath + ": holds no class " + state_->registration.className + "; build it again");
  if (![principal conformsToProtocol:NSProtocolFromString(string(state_->registration.protocolName))]) {
    throw UserError(bundlePath + ": its class is no " + state_->registration.protocolName);
  }
  filterClass = principal;
  state_->manager = [[KalvetraHostServices alloc] initWithState:&state_->services];
  state_->filter = [[principal alloc] initWithAPIManager:state_->manager];
}

HostedFilter::~HostedFilter() {
  [state_->filter release];
  [state_->manager release];
}

const Registration& HostedFilter::registration() const { return state_->registration; }

std::string HostedFilter::localized(const std::string& key) const {
  const Pool pool;
  return text([state_->bundle localizedStringForKey:string(key) value:nil table:nil]);
}

Faults& HostedFilter::faults() { return state_->services.faults; }

std::vector<std::string> HostedFilter::takeCalls() {
  std::vector<std::string> calls;
  calls.swap(state_->services.calls);
  return calls;
}

void HostedFilter::recordCalls(bool on) { state_->services.recording = on; }

std::vector<HostParameter>& HostedFilter::parameters() { return state_->services.parameters; }

HostParameter& HostedFilter::parameter(int id) {
  HostParameter* p = state_->services.find(id);
  if (p == nullptr) throw UserError("there is no parameter " + std::to_string(id) + "; --list shows them");
  return *p;
}

float HostedFilter::cachedBright() const {
  float value = 0.0f;
  Ivar variable = class_getInstanceVariable([state_->filter class], "_cachedBright");
  std::memcpy(&value, reinterpret_cast<const char*>(state_->filter) + ivar_getOffset(variable), sizeof value);
  return value;
}

std::map<std::string, std::string> HostedFilter::properties() const {
  const Pool pool;
  std::map<std::string, std::string> values;
  NSDictionary* properties = [state_->filter properties];
  NSArray* keys = [properties allKeys];
  for (NSUInteger i = 0; i < [keys count]; ++i) {
    id key = [keys objectAtIndex:i];
    NSNumber* value = [properties objectForKey:key];
    values[text(key)] = std::string([value objCType]) + " " + text([value stringValue]);
  }
  return values;
}

bool HostedFilter::variesOverTime() const { return [state_->filter variesOverTime] != NO; }

bool HostedFilter::addParameters() {
  const Pool pool;
  return [state_->filter addParameters] != NO;
}

bool HostedFilter::parameterChanged(int id) {
  const Pool pool;
  return [state_->filter parameterChanged:static_cast<UInt32>(id)] != NO;
}

bool HostedFilter::enable(int id, unsigned char value) {
  const Pool pool;
  return [state_->filter EnableDisableParameter:static_cast<UInt32>(id) enableParam:value] != NO;
}

bool HostedFilter::outputSize(const HostPicture& input, std::uint32_t* width, std::uint32_t* height) const {
  return [state_->filter getOutputWidth:width height:height withInput:imageInfo(input) withInfo:renderInfo(0)] != NO;
}

bool HostedFilter::frameSetup(const HostPicture& input, bool& hardware, bool& software) const {
  BOOL canHardware = YES, canSoftware = NO;
  const BOOL answer = [state_->filter frameSetup:renderInfo(0)
                                       inputInfo:imageInfo(input)
                                        hardware:&canHardware
                                        software:&canSoftware];
  hardware = canHardware != NO;
  software = canSoftware != NO;
  return answer != NO;
}

bool HostedFilter::render(HostPicture& output, const HostPicture& input, double time) const {
  const Pool pool;
  KalvetraHostImage* out = [[KalvetraHostImage alloc] initWithPicture:&output data:output.data.data()];
  KalvetraHostImage* in = [[KalvetraHostImage alloc] initWithPicture:&input
                                                                data:const_cast<unsigned char*>(input.data.data())];
  const BOOL answer = [state_->filter renderOutput:out withInput:in withInfo:renderInfo(time)];
  [out release];
  [in release];
  return answer != NO;
}

bool HostedFilter::frameCleanup() const { return [state_->filter frameCleanup] != NO; }

long HostedFilter::liveObjects() {
  return liveServiceObjects() + (filterClass == Nil ? 0 : GSDebugAllocationCount(filterClass));
}

}  // namespace kalvetra::fxhost
