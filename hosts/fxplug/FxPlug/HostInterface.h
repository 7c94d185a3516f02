// The host interface, as far as the filter uses it. Where the host's SDK is installed its own headers are used;
// anywhere else these declarations are what the filter and the project's own host compile against. Methods and records
// follow the interface's version 1.2.
#pragma once

#if defined(__has_include) && __has_include(<FxPlug/FxPlugSDK.h>)

#import <FxPlug/FxPlugSDK.h>
#import <PluginManager/PROAPIAccessing.h>

#else

#import <Foundation/Foundation.h>
#include <stdint.h>

typedef uint32_t UInt32;

enum { kFxImageType_BITMAP = 1, kFxImageType_TEXTURE = 2 };

enum {
  kFxParameterFlag_DEFAULT = 0,
  kFxParameterFlag_NOT_ANIMATABLE = 1,
  kFxParameterFlag_HIDDEN = 2,
  kFxParameterFlag_DISABLED = 4,
  kFxParameterFlag_COLLAPSED = 8
};

typedef struct {
  double frame;  // render time in frames, may be fractional
  uintptr_t qualityLevel;
  uintptr_t fieldOrder;
  double scaleX;
  double scaleY;
  void* sharedContext;  // an OpenGL context, null in software
  uintptr_t depth;
} FxRenderInfo;

typedef struct {
  UInt32 width;
  UInt32 height;
  UInt32 depth;  // bits a component: 8, 16 or 32
  UInt32 activeChannels;
  UInt32 imageType;
  UInt32 origin;
  UInt32 pixelFormat;
  BOOL isPremultiplied;
  double pixelAspect;
} FxImageInfo;

@interface FxImage : NSObject
- (UInt32)width;
- (UInt32)height;
- (UInt32)depth;  // bits a component
- (UInt32)imageType;
- (BOOL)isPremultiplied;
@end

@interface FxBitmap : FxImage
- (void*)dataPtr;
@end

@protocol PROAPIAccessing
- (id)apiForProtocol:(Protocol*)proto;  // nil where the host has no such service
@end

@protocol FxBaseEffect
- (id)initWithAPIManager:(id)apiManager;
- (BOOL)addParameters;
- (BOOL)parameterChanged:(UInt32)parmId;
- (NSDictionary*)properties;
- (BOOL)variesOverTime;
@end

@protocol FxFilter <FxBaseEffect>
- (BOOL)getOutputWidth:(UInt32*)width
                height:(UInt32*)height
             withInput:(FxImageInfo)inputInfo
              withInfo:(FxRenderInfo)renderInfo;
- (BOOL)frameSetup:(FxRenderInfo)renderInfo
         inputInfo:(FxImageInfo)inputInfo
          hardware:(BOOL*)canRenderHardware
          software:(BOOL*)canRenderSoftware;
- (BOOL)renderOutput:(FxImage*)output withInput:(FxImage*)input withInfo:(FxRenderInfo)renderInfo;
- (BOOL)frameCleanup;
@end

@protocol FxParameterCreationAPI
- (BOOL)startParameterSubGroup:(NSString*)name parmId:(UInt32)parmId parmFlags:(UInt32)flags;
- (BOOL)endParameterSubGroup;
- (BOOL)addPopupMenuWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(UInt32)defaultValue
                 menuEntries:(NSArray*)entries
                   parmFlags:(UInt32)flags;
- (BOOL)addColorParameterWithName:(NSString*)name
                           parmId:(UInt32)parmId
                       defaultRed:(double)red
                     defaultGreen:(double)green
                      defaultBlue:(double)blue
                        parmFlags:(UInt32)flags;
- (BOOL)addToggleButtonWithName:(NSString*)name
                         parmId:(UInt32)parmId
                   defaultValue:(BOOL)defaultValue
                      parmFlags:(UInt32)flags;
- (BOOL)addIntSliderWithName:(NSString*)name
                      parmId:(UInt32)parmId
                defaultValue:(int)defaultValue
                parameterMin:(int)minimum
                parameterMax:(int)maximum
                   sliderMin:(int)sliderMinimum
                   sliderMax:(int)sliderMaximum
                       delta:(int)delta
                   parmFlags:(UInt32)flags;
@end

@protocol FxParameterRetrievalAPI
- (BOOL)getIntValue:(int*)value fromParm:(UInt32)parmId atTime:(double)time;
- (BOOL)getBoolValue:(BOOL*)value fromParm:(UInt32)parmId atTime:(double)time;
- (BOOL)getRedValue:(double*)red
         GreenValue:(double*)green
          BlueValue:(double*)blue
           fromParm:(UInt32)parmId
             atTime:(double)time;
- (BOOL)getParameterFlags:(UInt32*)flags fromParm:(UInt32)parmId;
@end

@protocol FxParameterSettingAPI
- (BOOL)setParameterFlags:(UInt32)flags toParm:(UInt32)parmId;
@end

@protocol FxCustomParameterActionAPI
- (double)currentTime;
@end

#endif
