#define GL_GLEXT_PROTOTYPES 1
#import "hosts/fxplug/KalvetraGreen.h"

#ifdef __APPLE__
#define GL_SILENCE_DEPRECATION 1
#include <OpenGL/gl.h>
#include <OpenGL/glext.h>
#else
#include <GL/gl.h>
#include <GL/glext.h>
#endif

#include <cstdlib>
#include <vector>

#include "engine/pixel_formats.h"
#include "engine/render.h"
#include "hosts/fxplug/pixel_conversion.h"
#include "parameters/parameter_table.h"

// Methods are called by the host's C and Objective-C code: no exception may leave one.

using kalvetra::KeySettings;
using kalvetra::kHostParameters;
using kalvetra::Parameter;
using kalvetra::ParameterKind;

namespace {

// The display text of a name key, from the string table of the filter's own bundle.
NSString* localized(const char* nameKey) {
  return [[NSBundle bundleForClass:[KalvetraGreen class]] localizedStringForKey:[NSString stringWithUTF8String:nameKey]
                                                                          value:nil
                                                                          table:nil];
}

NSArray* entriesOf(const Parameter& p) {
  NSMutableArray* entries = [NSMutableArray array];
  for (const kalvetra::MenuEntry& entry : p.entries) [entries addObject:localized(entry.nameKey)];
  return entries;
}

void createParameter(id<FxParameterCreationAPI> api, const Parameter& p) {
  NSString* name = localized(p.nameKey);
  const UInt32 parmId = static_cast<UInt32>(p.id);
  const UInt32 flags = kFxParameterFlag_DEFAULT;
  switch (p.kind) {
    case ParameterKind::Group:
      [api startParameterSubGroup:name parmId:parmId parmFlags:flags];
      break;
    case ParameterKind::Popup:
      [api addPopupMenuWithName:name
                         parmId:parmId
                   defaultValue:static_cast<UInt32>(p.defaultValue)
                    menuEntries:entriesOf(p)
                      parmFlags:flags];
      break;
    case ParameterKind::Color:
      [api addColorParameterWithName:name parmId:parmId defaultRed:0 defaultGreen:0 defaultBlue:0 parmFlags:flags];
      break;
    case ParameterKind::Toggle:
      [api addToggleButtonWithName:name parmId:parmId defaultValue:p.defaultValue != 0 ? YES : NO parmFlags:flags];
      break;
    case ParameterKind::IntSlider:
      [api addIntSliderWithName:name
                         parmId:parmId
                   defaultValue:p.defaultValue
                   parameterMin:p.minimum
                   parameterMax:p.maximum
                      sliderMin:p.minimum
                      sliderMax:p.maximum
                          delta:1
                      parmFlags:flags];
      break;
  }
}

// A value that cannot be read stays 0: a host that fails every read gets the source view.
KeySettings readSettings(id<FxParameterRetrievalAPI> api, double time) {
  KeySettings settings{};
  for (const Parameter& p : kHostParameters) {
    const UInt32 parmId = static_cast<UInt32>(p.id);
    if (p.kind == ParameterKind::Color) {
      double* rgb = settings.keyColor.data();
      [api getRedValue:&rgb[0] GreenValue:&rgb[1] BlueValue:&rgb[2] fromParm:parmId atTime:time];
    } else if (p.kind == ParameterKind::Toggle) {
      BOOL on = NO;
      [api getBoolValue:&on fromParm:parmId atTime:time];
      settings.*p.value = on != NO ? 1 : 0;
    } else if (p.kind != ParameterKind::Group) {
      [api getIntValue:&(settings.*p.value) fromParm:parmId atTime:time];
    }
  }
  return settings;
}

struct Bitmap {
  void* data;
  int width, height;
  UInt32 depth;  // bits a component

  explicit Bitmap(FxImage* image)
      : data([(FxBitmap*)image dataPtr]),
        width(static_cast<int>([image width])),
        height(static_cast<int>([image height])),
        depth(static_cast<UInt32>([image depth])) {}
  bool usable() const { return width >= 0 && height >= 0 && (data != NULL || pixels() == 0); }
  std::size_t pixels() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
  kalvetra::Frame bytes() const { return packed(static_cast<unsigned char*>(data)); }
  kalvetra::Frame packed(unsigned char* argb) const { return kalvetra::packedFrame(argb, width, height); }
};

// Hosts take every pixel of a premultiplied output as such, also those beyond the common area.
void renderBytes(const KeySettings& settings, const Bitmap& in, const Bitmap& out, bool premultiplied) {
  kalvetra::render(settings, in.bytes(), out.bytes());
  if (premultiplied) kalvetra::premultiply(out.bytes().data, out.pixels());
}

void renderFloats(const KeySettings& settings, const Bitmap& in, const Bitmap& out, bool premultiplied) {
  std::vector<unsigned char> source(in.pixels() * 4), result(out.pixels() * 4);
  kalvetra::floatsToBytes(static_cast<const float*>(in.data), source.data(), in.pixels());
  kalvetra::render(settings, in.packed(source.data()), out.packed(result.data()));
  kalvetra::bytesToFloats(result.data(), static_cast<float*>(out.data), out.pixels(), premultiplied);
}

}  // namespace

@implementation KalvetraGreen

// The superclass's initialiser is left out: it does nothing, and hosts count on the object being this one.
- (id)initWithAPIManager:(id)apiManager {
  _apiManager = apiManager;
  _cachedBright = -1.0f;
  _cachedLUT = NULL;
  _lutDepth = 0;
  _canDoHardware = NO;
  return self;
}

- (void)dealloc {
  glDeleteProgramsARB(1, &_programID);
  if (_cachedLUT != NULL) free(_cachedLUT);
  [super dealloc];
}

- (BOOL)variesOverTime {
  return NO;
}

- (NSDictionary*)properties {
  return [NSDictionary dictionaryWithObjectsAndKeys:[NSNumber numberWithBool:NO], @"SupportsRowBytes",
                                                    [NSNumber numberWithBool:NO], @"SupportsR408",
                                                    [NSNumber numberWithBool:NO], @"SupportsR4fl",
                                                    [NSNumber numberWithBool:NO], @"MayRemapTime",
                                                    [NSNumber numberWithInt:0], @"EquivalentSMPTEWipeCode", nil];
}

- (BOOL)addParameters {
  id<FxParameterCreationAPI> api = [_apiManager apiForProtocol:@protocol(FxParameterCreationAPI)];
  if (api == nil) return NO;
  try {
    std::vector<int> open;  // ids of the groups that are open
    for (const Parameter& p : kHostParameters) {
      for (; !open.empty() && open.back() != p.group; open.pop_back()) [api endParameterSubGroup];
      createParameter(api, p);
      if (p.kind == ParameterKind::Group) open.push_back(p.id);
    }
    for (; !open.empty(); open.pop_back()) [api endParameterSubGroup];
  } catch (...) {
    return NO;
  }
  for (const Parameter& p : kHostParameters) {
    if (p.toggle == 0 || kalvetra::findParameter(p.toggle)->defaultValue != 0) continue;
    [self EnableDisableParameter:static_cast<UInt32>(p.id) enableParam:0];
  }
  return YES;
}

- (BOOL)parameterChanged:(UInt32)parmId {
  id<FxParameterRetrievalAPI> retrieval = [_apiManager apiForProtocol:@protocol(FxParameterRetrievalAPI)];
  id<FxCustomParameterActionAPI> action = [_apiManager apiForProtocol:@protocol(FxCustomParameterActionAPI)];
  if (retrieval == nil || action == nil) return YES;
  BOOL known = NO, on = NO;
  for (const Parameter& p : kHostParameters) {
    if (p.toggle == 0 || static_cast<UInt32>(p.toggle) != parmId) continue;
    if (known == NO && [retrieval getBoolValue:&on fromParm:parmId atTime:[action currentTime]] == NO) return YES;
    known = YES;
    [self EnableDisableParameter:static_cast<UInt32>(p.id) enableParam:static_cast<unsigned char>(on)];
  }
  return YES;
}

- (BOOL)EnableDisableParameter:(UInt32)parmId enableParam:(unsigned char)enable {
  id<FxParameterRetrievalAPI> retrieval = [_apiManager apiForProtocol:@protocol(FxParameterRetrievalAPI)];
  id<FxParameterSettingAPI> setting = [_apiManager apiForProtocol:@protocol(FxParameterSettingAPI)];
  if (retrieval == nil || setting == nil) return NO;
  UInt32 flags = 0;
  if ([retrieval getParameterFlags:&flags fromParm:parmId] == NO) return NO;
  const UInt32 disabled = kFxParameterFlag_DISABLED;
  return [setting setParameterFlags:enable == 1 ? flags & ~disabled : flags | disabled toParm:parmId];
}

- (BOOL)getOutputWidth:(UInt32*)width
                height:(UInt32*)height
             withInput:(FxImageInfo)inputInfo
              withInfo:(FxRenderInfo)renderInfo {
  (void)renderInfo;
  if (width == NULL || height == NULL) return NO;
  *width = inputInfo.width;
  *height = inputInfo.height;
  return YES;
}

- (BOOL)frameSetup:(FxRenderInfo)renderInfo
         inputInfo:(FxImageInfo)inputInfo
          hardware:(BOOL*)canRenderHardware
          software:(BOOL*)canRenderSoftware {
  (void)renderInfo;
  (void)inputInfo;
  *canRenderSoftware = YES;
  *canRenderHardware = NO;
  return YES;
}

- (BOOL)renderOutput:(FxImage*)output withInput:(FxImage*)input withInfo:(FxRenderInfo)renderInfo {
  id<FxParameterRetrievalAPI> api = [_apiManager apiForProtocol:@protocol(FxParameterRetrievalAPI)];
  if (api == nil) return NO;
  if ([input imageType] == kFxImageType_TEXTURE) return YES;
  if ([input imageType] != kFxImageType_BITMAP) return NO;
  const bool premultiplied = [output isPremultiplied] != NO;
  try {
    const KeySettings settings = readSettings(api, renderInfo.frame);
    const Bitmap in(input), out(output);
    if (out.depth != 8 && out.depth != 32) return YES;
    if (in.depth != out.depth || !in.usable() || !out.usable()) return NO;
    if (out.depth == 8) {
      renderBytes(settings, in, out, premultiplied);
    } else {
      renderFloats(settings, in, out, premultiplied);
    }
    return YES;
  } catch (...) {
    return NO;
  }
}

- (BOOL)frameCleanup {
  return YES;
}

@end
