// The filter class that a host creates, one object for each use of the filter on a clip. It renders in software and
// keeps nothing from one frame to the next, so a host may render two frames of one object at once.
#import "hosts/fxplug/FxPlug/HostInterface.h"

@interface KalvetraGreen : NSObject <FxFilter> {
  id _apiManager;       // the host's; every service is asked of it. Not retained: it outlives the filter
  float _cachedBright;  // brightness that _cachedLUT was made for; -1 for none
  float* _cachedLUT;    // from malloc, or null
  UInt32 _lutDepth;
  UInt32 _programID;  // OpenGL fragment program, 0 for none
  BOOL _canDoHardware;
}

// Writes the parameter's flags back with the disabled flag cleared when `enable` is exactly 1, and set for any other
// value. Answers what the host's setting call answered; NO, without a change, when a service is missing or the flags
// cannot be read.
- (BOOL)EnableDisableParameter:(UInt32)parmId enableParam:(unsigned char)enable;

@end
