// Alpha and colour of pixels by what their surroundings say: a vector of them at a time.
//
// A pixel C over the screen S is taken for a mixture with a subject's colour F, which may be brighter or darker by
// phi and have spill kappa of the screen on it: C - S = a (F - S) + phi F + kappa S + noise. For each of several
// guesses of F the likeliest a is found, how sure it is, and how well it fits; the guesses count by their fit.
#if defined(KALVETRA_REFINE_ALPHA_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_REFINE_ALPHA_INL_H
#undef KALVETRA_REFINE_ALPHA_INL_H
#else
#define KALVETRA_REFINE_ALPHA_INL_H
#endif

#include <hwy/highway.h>

#include "refine/colors-inl.h"
#include "refine/pixel_kernels.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::refine::HWY_NAMESPACE {

inline constexpr float kBrightness = 0.3f;   // standard deviation of phi, of alpha
inline constexpr float kSpill = 0.12f;       // of kappa
inline constexpr float kChromaNoise = 1.6f;  // of luma's: chroma is stored coarsely
inline constexpr float kTrust = 0.22f;       // standard deviation of the engine's alpha where it is unsure

struct FieldsAt {
  Color solid, near, wide, rim;
  VF noise, tone, reach, free, open;
};

HWY_INLINE FieldsAt fieldsAt(const FieldRows& rows, std::size_t x) {
  const auto field = [&](std::size_t name) HWY_ATTR { return hn::Load(DF(), rows[name] + x); };
  const auto color = [&](std::size_t name) HWY_ATTR { return Color{field(name), field(name + 1), field(name + 2)}; };
  return {color(FieldName::kSolid), color(FieldName::kNear),  color(FieldName::kWide),
          color(FieldName::kRim),   field(FieldName::kNoise), field(FieldName::kTone),
          field(FieldName::kReach), field(FieldName::kFree),  field(FieldName::kOpen)};
}

struct PixelsAt {
  Color source, screen;
  KeyedPixels engine;
  FieldsAt fields;
  VF hostAlpha;
};

struct Guess {
  VF alpha, variance, misfit;  // the last in squared standard deviations
};

// A symmetric matrix: the covariance of what phi, kappa and noise do to a pixel's colour.
struct Covariance {
  VF rr, rg, rb, gg, gb, bb;
};
HWY_INLINE Covariance covarianceOf(Color screen, Color subject, VF alpha, VF noise) {
  const VF scale = most(alpha, all(0.1f)), phi = scale * all(kBrightness), kappa = scale * all(kSpill);
  const VF square = noise * noise, chroma = square * all(kChromaNoise * kChromaNoise);
  const VF grey = (square - chroma) * all(1.0f / 3.0f);  // less of it along grey
  const Color f = subject * phi, s = screen * kappa;
  const VF own = chroma + grey;
  return {own + f.r * f.r + s.r * s.r, grey + f.r * f.g + s.r * s.g, grey + f.r * f.b + s.r * s.b,
          own + f.g * f.g + s.g * s.g, grey + f.g * f.b + s.g * s.b, own + f.b * f.b + s.b * s.b};
}

// The solution x of m x = d.
HWY_INLINE Color solved(const Covariance& m, Color d) {
  const VF rr = m.gg * m.bb - m.gb * m.gb, rg = m.rb * m.gb - m.rg * m.bb, rb = m.rg * m.gb - m.rb * m.gg;
  const VF gg = m.rr * m.bb - m.rb * m.rb, gb = m.rg * m.rb - m.rr * m.gb, bb = m.rr * m.gg - m.rg * m.rg;
  const VF over = all(1.0f) / (m.rr * rr + m.rg * rg + m.rb * rb);
  return {(rr * d.r + rg * d.g + rb * d.b) * over, (rg * d.r + gg * d.g + gb * d.b) * over,
          (rb * d.r + gb * d.g + bb * d.b) * over};
}

// `first`: an alpha to begin with; `cost`: what speaks against this guess before the pixel is looked at.
HWY_INLINE Guess guessed(Color pixel, Color screen, Color subject, VF first, VF noise, VF cost) {
  const Color direction = subject - screen, offset = pixel - screen;
  Guess guess{first, all(0.0f), all(0.0f)};
  for (int round = 0; round < 2; ++round) {
    const Covariance covariance = covarianceOf(screen, subject, guess.alpha, noise);
    const Color weights = solved(covariance, direction);
    const VF information = most(dot(weights, direction), all(1e-6f));
    guess.alpha = within(dot(weights, offset) / information, 0.0f, 1.0f);
    if (round == 0) continue;
    guess.variance = all(1.0f) / information;
    const Color rest = offset - direction * guess.alpha;
    guess.misfit = dot(solved(covariance, rest), rest) + cost;
  }
  return guess;
}

// The subject is grey, of any brightness and without spill.
HWY_INLINE Guess guessedGrey(Color pixel, const Axis& axis, VF alpha, VF noise) {
  const Chromas at = chromaOf(pixel);
  const VF across = at.Q * axis.screen.I - at.I * axis.screen.Q;
  const VF variance = noise * noise * all(kChromaNoise * kChromaNoise) / axis.square;
  return {alpha, variance, all(2.0f) + across * across / (variance * axis.square * axis.square)};
}

struct Estimate {
  VF alpha, variance;
  Color subject;  // the guesses' colour
};

HWY_INLINE Estimate estimated(const PixelsAt& p, const Axis& axis) {
  constexpr int kGuesses = 5;
  const FieldsAt& f = p.fields;
  const Color pixel = sane(p.source), screen = sane(p.screen);
  const VF opacity = within(missing(axis, pixel), 0.0f, 1.0f), first = most(opacity, all(0.1f)), one = all(1.0f);
  const VF grey = luma(screen + (pixel - screen) * (one / most(opacity, all(0.05f))));
  const Color subjects[kGuesses] = {f.solid, f.near, f.wide, f.rim, {grey, grey, grey}};
  Guess guesses[kGuesses] = {guessed(pixel, screen, f.solid, first, f.noise, all(3.0f) * (one - f.reach)),
                             guessed(pixel, screen, f.near, first, f.noise, all(0.5f) + all(3.0f) * f.reach),
                             guessed(pixel, screen, f.wide, first, f.noise, all(0.5f) + f.reach),
                             guessed(pixel, screen, f.rim, first, f.noise, all(1.0f)),
                             guessedGrey(pixel, axis, opacity, f.noise)};
  VF best = guesses[0].misfit;
  for (int i = 1; i < kGuesses; ++i) best = least(best, guesses[i].misfit);
  VF weights[kGuesses], total = all(0.0f);
  for (int i = 0; i < kGuesses; ++i) {
    const VF over = one / (one + all(0.25f) * (guesses[i].misfit - best)), square = over * over;
    weights[i] = square * square;
    total = total + weights[i];
  }
  Estimate e{all(0.0f), all(0.0f), {all(0.0f), all(0.0f), all(0.0f)}};
  for (int i = 0; i < kGuesses; ++i) {
    weights[i] = weights[i] / total;
    e.alpha = e.alpha + weights[i] * guesses[i].alpha;
    e.subject = e.subject + subjects[i] * weights[i];
  }
  for (int i = 0; i < kGuesses; ++i) {
    const VF off = guesses[i].alpha - e.alpha;
    e.variance = e.variance + weights[i] * (guesses[i].variance + off * off);
  }
  // Where none explains the pixel, none is to be believed.
  const VF strange = most(best * all(0.25f), one);
  e.variance = (e.variance + all(0.0004f)) * strange * strange;
  return e;
}

// 1 where the pixel has the plate's paint with less light on it.
HWY_INLINE VF shadowLike(const PixelsAt& p) {
  const Color pixel = sane(p.source), screen = sane(p.screen);
  const VF light = dot(pixel, screen) / most(dot(screen, screen), all(1.0f));
  const Color stain = pixel - screen * light;
  const VF off = hn::Sqrt(dot(stain, stain)) / most(p.fields.noise - all(3.5f), all(1.0f));
  const VF paint = all(1.0f) - smoothStep(2.0f, 4.0f, off), less = all(1.0f) - smoothStep(1.0f, 1.05f, light);
  return paint * less * smoothStep(0.1f, 0.2f, light);
}

// How far the estimate is believed: by its variance against the engine's, which is less where the engine is likelier to
// be right. What lies among opaque things is not made thinner, what it keys clear hardly denser.
HWY_INLINE VF confidence(const AlphaRules& rules, const PixelsAt& p, const Estimate& e) {
  const VF engine = p.engine.alpha;
  const VF rise = all(0.5f) + all(0.5f) * smoothStep(0.0f, 0.15f, engine);
  const VF own = all(kTrust) * p.fields.free * select(e.alpha < engine, all(0.8f) * p.fields.open, rise);
  const VF square = own * own;
  return square / (square + e.variance) * (all(1.0f) - all(rules.keepsShadows) * shadowLike(p));
}

// Hardly anything is nothing, and nearly all is all.
HWY_INLINE VF clippedSoftly(const AlphaRules& rules, VF alpha) {
  const VF risen = alpha * smoothStep(rules.nothing, rules.nothingTo, alpha), rest = all(1.0f) - risen;
  return all(1.0f) - rest * smoothStep(rules.all, rules.allTo, rest);
}

// The colour under that alpha: the less of it there is, the more the subject's colour instead of what noise leaves. No
// greener than what the engine makes of the pixel or of its opaque surroundings, and no more violet.
HWY_INLINE Color colorUnder(const PixelsAt& p, const Axis& axis, VF alpha, Color subject) {
  const VF one = all(1.0f), zero = all(0.0f), engine = p.engine.alpha;
  const Color c = p.source, s = p.screen;
  const Color low{least(c.r, zero), least(c.g, zero), least(c.b, zero)};
  const Color high{most(c.r, all(255.0f)), most(c.g, all(255.0f)), most(c.b, all(255.0f))};
  const Color unmixed = bounded((c - s * (one - alpha)) * (one / most(alpha, all(0.02f))), low, high);
  const VF square = alpha * alpha, known = square / (square + all(0.03f));
  const Color mixed = unmixed * known + bounded(subject, low, high) * (one - known);

  const Color key = sane(p.engine.levels());
  const VF own = along(axis, key) / (luma(key) + all(4.0f)), around = p.fields.tone;
  const VF counts = smoothStep(0.1f, 0.5f, engine);
  const VF greenest = around + counts * most(own - around, zero) + all(0.02f);
  const VF violet = least(own, zero) * counts, bySubject = most(p.fields.reach, one - counts);
  const VF mostViolet = least(violet, around * bySubject + least(own, zero) * (one - bySubject)) - all(0.01f);
  const VF light = luma(mixed) + all(4.0f), tone = along(axis, mixed), screenLight = luma(s);
  const auto beyond = [&](VF bound) HWY_ATTR {
    return (tone - bound * light) / most(axis.length - bound * screenLight, all(0.2f) * axis.length);
  };
  const VF spill = most(beyond(greenest), zero) + least(beyond(mostViolet), zero);
  return bounded(mixed - s * spill, low, high);
}

// Both keys, each by its share of the picture: composites lie between the two.
HWY_INLINE KeyedPixels blended(const AlphaRules& rules, const PixelsAt& p) {
  const Axis axis = axisOf(sane(p.screen));
  const Estimate e = estimated(p, axis);
  const VF sure = confidence(rules, p, e), alpha = clippedSoftly(rules, e.alpha);
  const Color color = colorUnder(p, axis, alpha, e.subject);
  const VF kept = (all(1.0f) - sure) * p.engine.alpha, share = sure * alpha, sum = kept + share;
  const Color both = (p.engine.levels() * kept + color * share) * (all(1.0f / 255.0f) / most(sum, all(1e-6f)));
  const MF changed = hn::And(sure > all(0.0f), p.hostAlpha > all(0.0f));
  const MF visible = hn::And(changed, sum > all(1e-6f));
  const Color& was = p.engine.codes;
  return {{select(visible, both.r, was.r), select(visible, both.g, was.g), select(visible, both.b, was.b)},
          select(changed, least(sum, p.hostAlpha), p.engine.alpha)};
}

}  // namespace kalvetra::refine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
