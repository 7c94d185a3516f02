#import "hosts/fxplug/test_host/host_services.h"

#include <atomic>

using namespace kalvetra::fxhost;

namespace {

std::atomic<long> liveObjectCount{0};

std::string text(NSString* string) { return string == nil ? std::string("(nil)") : std::string([string UTF8String]); }

std::string number(double value) {
  const std::string digits = std::to_string(value);
  return digits.substr(0, digits.find_last_not_of('0') + (digits[digits.find_last_not_of('0')] == '.' ? 0 : 1));
}

}  // namespace

namespace kalvetra::fxhost {

HostParameter* ServiceState::find(int id) {
  for (HostParameter& p : parameters) {
    if (p.id == id) return &p;
  }
  return nullptr;
}

long liveServiceObjects() { return liveObjectCount; }

}  // namespace kalvetra::fxhost

// The base classes are the host's to implement.
@implementation FxImage
- (UInt32)width {
  return 0;
}
- (UInt32)height {
  return 0;
}
- (UInt32)depth {
  return 0;
}
- (UInt32)imageType {
  return 0;
}
- (BOOL)isPremultiplied {
  return NO;
}
@end

@implementation FxBitmap
- (void*)dataPtr {
  return NULL;
}
@end

@implementation KalvetraHostImage

- (id)initWithPicture:(const HostPicture*)picture data:(void*)data {
  self = [super init];
  if (self != nil) {
    _picture = picture;
    _data = data;
    ++liveObjectCount;
  }
  return self;
}
- (void)dealloc {
  --liveObjectCount;
  [super dealloc];
}
- (UInt32)width {
  return static_cast<UInt32>(_picture->width);
}
- (UInt32)height {
  return static_cast<UInt32>(_picture->height);
}
- (UInt32)depth {
  return _picture->depth;
}
- (UInt32)imageType {
  return _picture->imageType;
}
- (BOOL)isPremultiplied {
  return _picture->premultiplied ? YES : NO;
}
- (void*)dataPtr {
  return _data;
}

@end

@implementation KalvetraHostServices

- (id)initWithState:(ServiceState*)state {
  self = [super init];
  if (self != nil) {
    _state = state;
    ++liveObjectCount;
  }
  return self;
}
- (void)dealloc {
  --liveObjectCount;
  [super dealloc];
}

- (id)apiForProtocol:(Protocol*)proto {
  const std::lock_guard lock(_state->mutex);
  NSString* name = NSStringFromProtocol(proto);
  if (_state->recording) _state->record("api ", text(name));
  return _state->faults.withheld.empty() || !_state->faults.withheld.contains(text(name)) ? self : nil;
}

// --- Creation: a group's depth is the number of groups open when it is made ---

- (HostParameter&)create:(Kind)kind name:(NSString*)name parmId:(UInt32)parmId flags:(UInt32)flags {
  HostParameter p;
  p.id = static_cast<int>(parmId);
  p.kind = kind;
  p.name = text(name);
  p.depth = _state->openGroups;
  p.flags = flags;
  _state->parameters.push_back(p);
  return _state->parameters.back();
}

- (BOOL)startParameterSubGroup:(NSString*)name parmId:(UInt32)parmId parmFlags:(UInt32)flags {
  const std::lock_guard lock(_state->mutex);
  _state->record("group ", std::to_string(parmId));
  [self create:Kind::Group name:name parmId:parmId flags:flags];
  ++_state->openGroups;
  return YES;
}

- (BOOL)endParameterSubGroup {
  const std::lock_guard lock(_state->mutex);
  _state->record("end");
  --_state->openGroups;
  return YES;
}

- (BOOL)addPopupMenuWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(UInt32)defaultValue
                 menuEntries:(NSArray*)entries
                   parmFlags:(UInt32)flags {
  const std::lock_guard lock(_state->mutex);
  _state->record("popup ", std::to_string(parmId));
  HostParameter& p = [self create:Kind::Popup name:name parmId:parmId flags:flags];
  p.value[0] = defaultValue;
  for (NSUInteger i = 0; i < [entries count]; ++i) p.entries.push_back(text([entries objectAtIndex:i]));
  p.maximum = static_cast<int>([entries count]) - 1;
  return YES;
}

- (BOOL)addColorParameterWithName:(NSString*)name
                           parmId:(UInt32)parmId
                       defaultRed:(double)red
                     defaultGreen:(double)green
                      defaultBlue:(double)blue
                        parmFlags:(UInt32)flags {
  const std::lock_guard lock(_state->mutex);
  _state->record("color ", std::to_string(parmId));
  HostParameter& p = [self create:Kind::Color name:name parmId:parmId flags:flags];
  p.value[0] = red;
  p.value[1] = green;
  p.value[2] = blue;
  return YES;
}

- (BOOL)addToggleButtonWithName:(NSString*)name
                         parmId:(UInt32)parmId
                   defaultValue:(BOOL)defaultValue
                      parmFlags:(UInt32)flags {
  const std::lock_guard lock(_state->mutex);
  _state->record("toggle ", std::to_string(parmId));
  HostParameter& p = [self create:Kind::Toggle name:name parmId:parmId flags:flags];
  p.value[0] = defaultValue != NO ? 1 : 0;
  p.maximum = 1;
  return YES;
}

- (BOOL)addIntSliderWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(int)defaultValue
                parameterMin:(int)minimum
                parameterMax:(int)maximum
                   sliderMin:(int)sliderMinimum
                   sliderMax:(int)sliderMaximum
                       delta:(int)delta
                   parmFlags:(UInt32)flags {
  const std::lock_guard lock(_state->mutex);
  _state->record("slider ", std::to_string(parmId));
  HostParameter& p = [self create:Kind::IntSlider name:name parmId:parmId flags:flags];
  p.value[0] = defaultValue;
  p.minimum = minimum;
  p.maximum = maximum;
  p.sliderMinimum = sliderMinimum;
  p.sliderMaximum = sliderMaximum;
  p.delta = delta;
  return YES;
}

// --- Retrieval and setting ---

// The parameter to read; null where the read is to fail.
- (HostParameter*)readable:(UInt32)parmId call:(const char*)call time:(double)time {
  if (_state->recording) _state->record(call, " ", std::to_string(parmId), " at ", number(time));
  return _state->faults.unreadable.contains(static_cast<int>(parmId)) ? nullptr
                                                                      : _state->find(static_cast<int>(parmId));
}

- (BOOL)getIntValue:(int*)value fromParm:(UInt32)parmId atTime:(double)time {
  const std::lock_guard lock(_state->mutex);
  const HostParameter* p = [self readable:parmId call:"int" time:time];
  if (p == nullptr) return NO;
  *value = static_cast<int>(p->value[0]);
  return YES;
}

- (BOOL)getBoolValue:(BOOL*)value fromParm:(UInt32)parmId atTime:(double)time {
  const std::lock_guard lock(_state->mutex);
  const HostParameter* p = [self readable:parmId call:"bool" time:time];
  if (p == nullptr) return NO;
  *value = p->value[0] != 0 ? YES : NO;
  return YES;
}

- (BOOL)getRedValue:(double*)red
         GreenValue:(double*)green
          BlueValue:(double*)blue
           fromParm:(UInt32)parmId
             atTime:(double)time {
  const std::lock_guard lock(_state->mutex);
  const HostParameter* p = [self readable:parmId call:"rgb" time:time];
  if (p == nullptr) return NO;
  *red = p->value[0];
  *green = p->value[1];
  *blue = p->value[2];
  return YES;
}

- (BOOL)getParameterFlags:(UInt32*)flags fromParm:(UInt32)parmId {
  const std::lock_guard lock(_state->mutex);
  _state->record("flags ", std::to_string(parmId));
  const HostParameter* p = _state->find(static_cast<int>(parmId));
  if (p == nullptr || _state->faults.unreadable.contains(static_cast<int>(parmId))) return NO;
  *flags = p->flags;
  return YES;
}

- (BOOL)setParameterFlags:(UInt32)flags toParm:(UInt32)parmId {
  const std::lock_guard lock(_state->mutex);
  _state->record("set flags ", std::to_string(parmId), " ", std::to_string(flags));
  HostParameter* p = _state->find(static_cast<int>(parmId));
  if (p == nullptr) return NO;
  p->flags = flags;
  return YES;
}

- (double)currentTime {
  return 12.5;
}

@end
