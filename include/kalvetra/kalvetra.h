/* Kalvetra keys green-screen pictures: it computes a matte, takes the screen's colour out of the subject and gives the
 * picture an alpha. The same picture and settings give the same bytes on every machine, at every CPU level, with any
 * number of threads.
 *
 * Answers: functions that answer int give 0 or more when all is well, otherwise one of the negative codes below, and
 * kalvetra_last_error() then has the sentence. What they were to write is then undefined, settings are unchanged.
 *
 * Text: all text is UTF-8 and ends in a NUL. Functions with (char *text, size_t size) write as snprintf does: they
 * answer the length of the whole text without its NUL, and write as much of it as fits; with a size of 0, text may be
 * NULL.
 *
 * Threads: any functions may run at once on any threads. A settings object may be used by several of them while none
 * changes or frees it, a plate while none frees it. */
#ifndef KALVETRA_KALVETRA_H
#define KALVETRA_KALVETRA_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(KALVETRA_BUILDING_LIBRARY)
#define KALVETRA_API __declspec(dllexport)
#elif defined(_WIN32)
#define KALVETRA_API __declspec(dllimport)
#else
#define KALVETRA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum kalvetra_code {
  KALVETRA_OK = 0,
  KALVETRA_BAD_ARGUMENT = -1, /* a null pointer, an option out of range, a CPU level that the machine lacks */
  KALVETRA_BAD_FRAME = -2,    /* a size, stride or format that cannot be, or frames of two sizes */
  KALVETRA_BAD_SETTING = -3,  /* no such parameter, or no such value of it */
  KALVETRA_BAD_PRESET = -4,   /* text that is no preset, or one of a newer look */
  KALVETRA_NO_BACKDROP = -5,  /* the frames show no green screen */
  KALVETRA_NO_MEMORY = -6,    /* memory ran out */
  KALVETRA_FAILED = -7,       /* something else; the sentence says what */
  KALVETRA_BAD_PLATE = -8     /* a clean plate of another set, light or size */
};

/* What was wrong with the calling thread's last call that failed, and what to do about it; "" before the first. Valid
 * until that thread's next call. */
KALVETRA_API const char* kalvetra_last_error(void);

KALVETRA_API const char* kalvetra_version(void); /* of the library that runs: "0.1.0" */
/* The number of the keyer's look: it rises whenever any picture with any settings would get other bytes than before. */
KALVETRA_API int kalvetra_look(void);
/* The same for the deep lane, which keys wherever a frame is KALVETRA_RGBAF32. */
KALVETRA_API int kalvetra_deep_look(void);

/* The CPU levels of this machine, the fastest last, the plain "scalar" first; NULL from their number on. */
KALVETRA_API const char* kalvetra_cpu_level(int index);

/* ---- Parameters ---- */

enum kalvetra_kind { KALVETRA_POPUP = 1, KALVETRA_COLOR, KALVETRA_TOGGLE, KALVETRA_SLIDER };

/* One setting. Later versions may add members at the end. */
typedef struct kalvetra_parameter {
  int id;                    /* fixed for ever */
  int kind;                  /* enum kalvetra_kind */
  const char* slug;          /* its name for programs: "clip-black" */
  const char* name;          /* and for people, in English: "Clip Black" */
  const char* group;         /* the names of the groups around it, outermost first: "Basic: Edge Blur Group" */
  const char* help;          /* one sentence */
  const char* values;        /* "0..100", "on, off", "source, matte, result", "#rrggbb, r,g,b (0..255)" */
  const char* default_value; /* "33", "on", "result", "#000000" */
  int minimum, maximum;      /* of a slider */
  const char* depends_on;    /* slug of the toggle that must be on for it to count; NULL: it always counts */
} kalvetra_parameter;

/* The parameters in the order in which a panel shows them; NULL from their number on. Never freed. */
KALVETRA_API const kalvetra_parameter* kalvetra_parameter_at(int index);

/* ---- Settings ---- */

typedef struct kalvetra_settings kalvetra_settings;

/* Every parameter at its default. The default key colour, black, keys nothing. NULL when memory ran out. */
KALVETRA_API kalvetra_settings* kalvetra_settings_new(void);
KALVETRA_API kalvetra_settings* kalvetra_settings_copy(const kalvetra_settings* settings); /* likewise, or of NULL */
KALVETRA_API void kalvetra_settings_free(kalvetra_settings* settings);                     /* NULL is fine */

/* Sets one parameter for all frames, as the command line writes it: "screen-gain", "33"; "smooth-bg", "on";
 * "key-color", "#2da54b"; "view", "matte". */
KALVETRA_API int kalvetra_settings_set(kalvetra_settings* settings, const char* slug, const char* value);
/* Its value at a frame; frames are counted from 0 and make a difference only to presets with keyframes. */
KALVETRA_API int kalvetra_settings_get(const kalvetra_settings* settings, const char* slug, int64_t frame, char* text,
                                       size_t size);

/* Sets what a preset sets, its keyframes included; parameters that it leaves out keep their values. Where memory runs
 * out meanwhile, this one function may end the process. */
KALVETRA_API int kalvetra_settings_read_preset(kalvetra_settings* settings, const char* json);
/* A preset with every parameter. */
KALVETRA_API int kalvetra_settings_write_preset(const kalvetra_settings* settings, char* text, size_t size);

/* ---- Frames ---- */

/* The first three have 4 bytes a pixel, in the order of addresses.
 *
 * KALVETRA_RGBAF32 has 4 floats of the machine's byte order: red, green, blue, alpha. Colours are the code values of
 * full-range R'G'B', 0 black and 1 nominal white; below and above are allowed and kept. Alpha is 0..1. NaN counts as 0,
 * infinities as +-65504, an alpha out of range as the nearest in it; none of them comes out. Data lies at a multiple of
 * 4 bytes, and the stride is one.
 *
 * From bytes to bytes the exact 8-bit keyer works. Wherever the input, the output or both are floats, and wherever the
 * setting "refine" is "on" or "despill" is "material", the deep lane does: the same keyer in single precision, without
 * a step of levels in between. A pixel that it leaves as it was comes out with the very colours that it came with.
 * Where its output is of bytes, they are its floats times 255, rounded and cut off at 0 and 255: on pictures of bytes
 * close to, not equal to the exact keyer's; 16 bytes a pixel are taken meanwhile. */
enum kalvetra_format { KALVETRA_ARGB8 = 1, KALVETRA_BGRA8, KALVETRA_RGBA8, KALVETRA_RGBAF32 };

/* One picture, which stays the caller's. */
typedef struct kalvetra_frame {
  void* data;        /* the first row's first pixel */
  ptrdiff_t stride;  /* bytes from a row to the next, at least a row's own; negative where rows lie upwards in memory */
  int width, height; /* 1..65535 pixels */
  int format;        /* enum kalvetra_format */
  int premultiplied; /* not 0: colours are multiplied by alpha */
} kalvetra_frame;

enum kalvetra_chroma { KALVETRA_CHROMA_FULL = 0, KALVETRA_CHROMA_HALF, KALVETRA_CHROMA_QUARTER };

/* How a call is to work. Set size to sizeof(kalvetra_options) and the rest to 0, then what is to differ; a null pointer
 * stands for all zeros. Later versions may add members at the end. */
typedef struct kalvetra_options {
  size_t size;
  int threads;     /* how many may work on this call, 1..1024, of which the machine's are used; 0: all of them */
  int fields;      /* not 0: two interlaced fields, each keyed as a picture of its own (rendering, and the materials of
                      a plate) */
  int64_t frame;   /* where in the clip the frame is, for presets with keyframes */
  int chroma;      /* enum kalvetra_chroma: how the clip's chroma was sampled, 4:4:4, 4:2:2 or 4:2:0 (propose only) */
  const char* cpu; /* the CPU level to use; NULL: the fastest */
  const struct kalvetra_plate* plate; /* what frames are keyed against while smooth-bg is on (rendering only); NULL: as
                                         the setting "plate" says: "frame" is the keyer's own estimate, "fit" a plate
                                         fitted to that frame alone; "shot" and "clean" are refused without a plate */
} kalvetra_options;

/* ---- Plates ---- */

/* Pictures of the bare screen to key against, which is closer than what the keyer makes of a frame by itself: where the
 * light falls off strongly, where the screen has folds. Made once for a shot, then given in the options of each call;
 * `frame` of the options then says which frame of the clip is being keyed. A plate made of frames of floats holds
 * floats, for the smoothest mattes; any plate goes with frames of any format.
 *
 * Where the settings' "despill" is "material", the plate holds the materials that a few of its frames, from all over
 * them, show: what is rendered with it then goes by those, otherwise by what the frame itself shows. The setting
 * "refine" does nothing where neither a plate is given nor the setting "plate" is "fit". */
typedef struct kalvetra_plate kalvetra_plate;

/* Fits the bare screen to frames from all over a clip, all of one size; one is enough where light and camera stand
 * still. `numbers` says which frames of the clip they are; NULL: 0, 1, 2 and so on. Settings give the key colour and
 * the screen. The plate follows the clip's light between those frames, and from shot to shot. Writes the new object,
 * which is to be freed, into `plate`. */
KALVETRA_API int kalvetra_plate_fit(const kalvetra_settings* settings, const kalvetra_frame* frames,
                                    const int64_t* numbers, size_t count, const kalvetra_options* options,
                                    kalvetra_plate** plate);
/* Gathers what was seen bare at any time in frames from all over one shot, about 20 to 60 of one size, of a camera that
 * stands still; shadows on the screen are then kept. Of more frames than about 200 MB hold (25 of 1920x1080, 60 at
 * most; as many of floats take 300 MB) as many are looked at, spread over all. Where the camera moves, it is like
 * kalvetra_plate_fit of those looked at, and the facts say so. */
KALVETRA_API int kalvetra_plate_shot(const kalvetra_settings* settings, const kalvetra_frame* frames,
                                     const int64_t* numbers, size_t count, const kalvetra_options* options,
                                     kalvetra_plate** plate);
/* From pictures of the empty set, up to 9 of one size, corrected to the light of `count` frames of the shot; shadows
 * are kept. KALVETRA_BAD_PLATE where they do not belong to that shot. */
KALVETRA_API int kalvetra_plate_clean(const kalvetra_settings* settings, const kalvetra_frame* clean,
                                      size_t clean_count, const kalvetra_frame* frames, size_t count,
                                      const kalvetra_options* options, kalvetra_plate** plate);
KALVETRA_API void kalvetra_plate_free(kalvetra_plate* plate); /* NULL is fine */

/* What is known of a plate. Later versions may add members at the end. */
typedef struct kalvetra_plate_facts {
  double covered;    /* share of the picture that was seen to be bare screen, 0..1 */
  int sure;          /* 0: no frame could be fitted well, and each is keyed against the keyer's own estimate */
  int locked;        /* of kalvetra_plate_shot: not 0 where the camera stood still */
  const char* why;   /* where it is not sure, or a shot's camera moved: a sentence; otherwise "" */
  const char* notes; /* of a clean plate: what was mended or does not quite fit, a line each; otherwise "" */
} kalvetra_plate_facts;
/* Valid until the plate is freed; NULL for NULL. */
KALVETRA_API const kalvetra_plate_facts* kalvetra_plate_facts_of(const kalvetra_plate* plate);

/* ---- Keying ---- */

/* Renders the view of the settings: the source, the matte as an opaque grey picture, or the keyed result. Input and
 * output have the same size; their formats may differ, also one of floats and one of bytes, and they may share memory.
 * A premultiplied input's colours are divided by its alpha before keying, a premultiplied output's are multiplied by
 * its own at the end. */
KALVETRA_API int kalvetra_render(const kalvetra_settings* settings, const kalvetra_frame* input,
                                 const kalvetra_frame* output, const kalvetra_options* options);

/* The backdrop that the frame is keyed against, opaque. Answers 1 for a plate or an estimate from the frame, 0 for the
 * one key colour, where smooth-bg is off or the key colour is black. */
KALVETRA_API int kalvetra_render_plate(const kalvetra_settings* settings, const kalvetra_frame* input,
                                       const kalvetra_frame* output, const kalvetra_options* options);

/* How many pixels of a matte are clear (alpha 0), almost clear (1..25), partial, almost opaque (230..254), opaque
 * (255); an alpha of floats counts as what it is when rounded to 8 bits. */
typedef struct kalvetra_status {
  int64_t clear, almost_clear, partial, almost_opaque, opaque;
} kalvetra_status;

/* The matte as an opaque grey picture, almost clear pixels in red, almost opaque ones in blue. `status` may be NULL. */
KALVETRA_API int kalvetra_render_status(const kalvetra_settings* settings, const kalvetra_frame* input,
                                        const kalvetra_frame* output, const kalvetra_options* options,
                                        kalvetra_status* status);

/* ---- Finding settings ---- */

/* Frames of floats are looked at as the pictures of bytes that they round to. */

typedef struct kalvetra_backdrop {
  unsigned char red, green, blue; /* the mean of the screen's pixels */
  double confidence;              /* 0..1; below about 0.7 another green competes with it, or it is small */
  double unevenness;              /* of the light, in percent from the brightest to the darkest region */
  char reason[256];               /* one sentence */
} kalvetra_backdrop;

/* Finds the green screen's colour in frames from all over a clip; about eight are enough. */
KALVETRA_API int kalvetra_pick(const kalvetra_frame* frames, size_t count, kalvetra_backdrop* backdrop);

/* Sets all of the settings to what suits the clip that the frames are from, by keying two of them in many ways: takes
 * seconds. For the key colour `key_color`, "#2da54b", or with NULL for the screen's. The plate is "fit" where that is
 * sure: give kalvetra_plate_fit the frames as well, once, rather than have each frame fitted by itself. */
KALVETRA_API int kalvetra_propose(const kalvetra_frame* frames, size_t count, const char* key_color,
                                  const kalvetra_options* options, kalvetra_settings* settings);

/* Why kalvetra_propose chose the value of a parameter, a sentence; "" where it did not choose it. For the slug
 * "left-out": what it found and left out because it would do harm, a sentence a line. */
KALVETRA_API int kalvetra_settings_reason(const kalvetra_settings* settings, const char* slug, char* text, size_t size);

#ifdef __cplusplus
}
#endif

#endif
