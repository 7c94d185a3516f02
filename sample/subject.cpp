// Coordinates: x to the right of the body's middle line, y as in the picture when the body stands at rest. The head
// shares them, the forearm has its own, with the elbow at 0, 0 and the hand upwards.
#include "sample/subject.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sample/demo_clip.h"

namespace kalvetra::sample {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kPeriod =
    static_cast<float>(kFrameCount) / kFrameRate;  // seconds; every movement fits in it, so that the shot can be looped
constexpr Color kSkin{0.88F, 0.67F, 0.56F};
constexpr Color kGrey{0.47F, 0.46F, 0.48F};
constexpr Color kWhite{0.93F, 0.92F, 0.92F};
constexpr Color kDenim{0.24F, 0.33F, 0.56F};
constexpr Vec kNeck{0, 240};
constexpr Vec kElbow{196, 462};

// A to-and-fro movement, -1..1, with a whole number of swings in the shot.
float swing(float perPeriod, float seconds) { return std::cos(2 * kPi * perPeriod * seconds / kPeriod); }

// Slow folds of hanging cloth: a height in pixels.
float drape(Vec p, std::uint32_t seed) {
  return 9 * noise(p.x / 38 + p.y / 90, p.y / 62, seed) + 4 * noise(p.x / 17, p.y / 29 - p.x / 40, seed + 1);
}

// Fine threads: a factor near 1.
float weave(Vec p, float strength, std::uint32_t seed) {
  return 1 + strength * (noise(p.x / 1.7F, p.y / 1.7F, seed) + 0.6F * noise(p.x / 1.3F, p.y / 9, seed + 1) - 0.8F);
}

struct Cloth {
  float folds, threads;  // strength of drape and weave
};
constexpr Cloth kTweed{0.8F, 0.15F}, kCotton{0.9F, 0.04F}, kTwill{0.7F, 0.13F};

// A form made of cloth, with its folds and threads. What is too far outside to be seen is left plain to save time.
Surface clothed(Form form, Vec p, Color color, Cloth cloth, std::uint32_t seed, float softness = 1.4F) {
  if (form.distance < softness + 1) {
    form.height += cloth.folds * drape(p, seed);
    color = color * weave(p, cloth.threads, seed + 2);
  }
  return {form, color, 0.03F, softness};
}

// Creases around a bent elbow, with `along` running along the arm: a height in pixels.
float creases(Vec p, float along, Vec elbow, std::uint32_t seed) {
  const float closeness = bell((p.x - elbow.x) / 60, (p.y - elbow.y) / 48);
  return closeness > 0.02F ? 1.7F * closeness * std::sin(along / 6.5F + 3 * noise(p.x / 30, p.y / 30, seed)) : 0;
}

Form torso(Vec p) {
  static constexpr Station kStations[] = {{242, 34},  {258, 48},  {272, 84},  {290, 116}, {315, 130}, {350, 130},
                                          {420, 114}, {485, 104}, {540, 114}, {600, 128}, {640, 132}, {740, 128}};
  return profile(p, kStations, 0.55F);
}

void drawJeans(Layer& picture, const Pose& body) {
  drawSolid(picture, body, {-150, 530, 150, 730}, 0, [](Vec p) {
    Form form =
        merge(torso({p.x * 1.04F, p.y}),
              merge(capsule(p, {-60, 640}, {-66, 800}, 64, 60), capsule(p, {60, 640}, {66, 800}, 64, 60), 8), 20);
    form.distance = std::max(form.distance, 540 - p.y);
    const bool belt = p.y < 566;
    Color albedo = mix(Color{0.26F, 0.17F, 0.13F}, kDenim, smoothStep(565, 567, p.y));
    form.height += bevel(std::abs(p.y - 555) - 11, 4);
    const float buckle = std::max(std::abs(p.x) - 13, std::abs(p.y - 555) - 10);
    if (buckle < 0 && buckle > -4) albedo = {0.72F, 0.68F, 0.62F};
    const float pocket = std::abs(std::hypot(std::abs(p.x) - 112, p.y - 566) - 46);
    const float fly = std::abs(p.x - 12 * smoothStep(668, 610, p.y));
    const float seam = belt ? 1e9F : std::min({pocket, fly, std::abs(p.x - 1)});
    albedo = albedo * (1 - 0.35F * bell(seam / 1.6F, 0));
    // Worn pale on the thighs, pulled into creases at the crotch.
    albedo = mix(albedo, {0.42F, 0.52F, 0.72F}, 0.4F * bell((std::abs(p.x) - 62) / 26, (p.y - 720) / 80));
    form.height += 2 * std::sin((p.y - 0.55F * std::abs(p.x)) / 7) * bell((std::abs(p.x) - 32) / 34, (p.y - 668) / 26);
    return clothed(form, p, albedo, belt ? Cloth{} : kTwill, 71);
  });
}

// Neck, shirt front and its collar.
void drawShirt(Layer& picture, const Pose& body) {
  drawSolid(picture, body, {-60, 205, 60, 330}, 0, [](Vec p) {
    Form form = merge(capsule(p, {0, 200}, {0, 262}, 32, 34), capsule(p, {-24, 306}, {24, 306}, 38, 38), 24);
    form.height += 3 * bell((std::abs(p.x) - 13 - (276 - p.y) * 0.35F) / 5, (p.y - 250) / 34);
    return Surface{form, kSkin, 0.04F, 1.4F, 1};
  });
  drawSolid(picture, body, {-90, 240, 90, 556}, 6, [](Vec p) {
    Form form = torso({p.x * 1.06F, p.y});
    form.distance = std::max({form.distance, p.y - 546, 29.7F - std::abs(p.x) - (p.y - 252) * 0.42F});
    form.height += 1.5F * smoothStep(10, 8, std::abs(p.x));
    const float button = std::hypot(p.x, std::fmod(p.y, 46.0F) - 20) - 3.5F;
    form.height += bevel(button, 2);
    return clothed(form, p, kWhite * (1 - 0.2F * bell(button / 1.2F, 0)), kCotton, 31);
  });
  for (const float side : {-1.0F, 1.0F}) {
    drawSolid(picture, body, {-80, 235, 80, 335}, 7, [side](Vec p) {
      static constexpr Vec kCollar[] = {{30, 236}, {44, 248}, {54, 296}, {37, 333}, {2, 318}};
      const float distance = polygon({p.x * side, p.y}, kCollar) - 2;
      return Surface{{distance, torso(p).height + bevel(distance, 9)}, kWhite, 0.02F};
    });
  }
}

// The open jacket, whose fronts shift with the body's turn, and its lapels.
void drawJacket(Layer& picture, const Pose& body, float turn) {
  drawSolid(picture, body, {-150, 240, 150, 630}, 9, [turn](Vec p) {
    Form form = torso(p);
    const float fromOpening = std::abs(p.x - turn * 0.6F);
    const float opening = mix(40.0F, 30.0F, smoothStep(250, 430, p.y)) + 26 * smoothStep(440, 640, p.y);
    const float edge = std::max(opening - fromOpening, p.y - 616);
    form.distance = std::max(form.distance, edge);
    const float flap = std::max(std::abs(fromOpening - 84) - 26, std::abs(p.y - 540 + std::abs(p.x) * 0.1F) - 9);
    form.height += bevel(edge, 7) + bevel(flap, 3);
    return clothed(form, p, kGrey * (1 - 0.25F * bell(flap / 1.5F, 0)), kTweed, 11);
  });
  for (const float side : {-1.0F, 1.0F}) {
    drawSolid(picture, body, {-120, 235, 120, 490}, 8, [side, turn](Vec p) {
      static constexpr Vec kLapel[] = {{36, 243}, {50, 256}, {78, 300}, {64, 312}, {86, 322},
                                       {70, 370}, {31, 470}, {28, 400}, {40, 320}};
      const Vec q{(p.x - turn * 0.6F * smoothStep(250, 320, p.y)) * side, p.y};
      const float distance = polygon(q, kLapel) - 1.5F;
      return clothed({distance, torso(p).height + bevel(distance, 8)}, p, kGrey * 1.04F, kTweed, 11);
    });
  }
}

// An open hand with the wrist at 0, -150 and the fingers upwards; `spread` is 0 (closed) .. 1 (fanned out).
Form hand(Vec p, float spread) {
  struct Finger {
    Vec root, tip;
    float radius;
  };
  static constexpr Finger kFingers[] = {{{-20, -232}, {-32, -280}, 8.2F},
                                        {{-7, -238}, {-9, -294}, 8.6F},
                                        {{7, -237}, {13, -290}, 8.4F},
                                        {{19, -230}, {33, -270}, 7.2F},
                                        {{-18, -196}, {-50, -232}, 9}};
  Form form = merge(capsule(p, {0, -140}, {0, -178}, 17, 18), capsule(p, {-8, -196}, {-9, -226}, 22, 19), 14);
  form = merge(form, capsule(p, {9, -194}, {10, -224}, 20, 18), 10);
  form.height *= 0.6F;  // palms are flatter than they are wide
  for (const Finger& f : kFingers) {
    const Vec tip{mix(f.root.x, f.tip.x, spread), f.tip.y};
    form = merge(form, capsule(p, f.root, tip, f.radius + 1, f.radius - 1.5F), 7);
  }
  // The ball of the thumb and the hollow of the palm.
  form.height += 5 * bell((p.x + 15) / 11, (p.y + 196) / 17) - 5 * bell((p.x - 3) / 12, (p.y + 207) / 15);
  return form;
}

void drawHand(Layer& picture, const Pose& arm, float spread) {
  drawSolid(picture, arm, {-66, -306, 48, -130}, 6, [spread](Vec p) {
    const float flush = bell((p.x - 2) / 40, (p.y + 285) / 30) + bell((p.x + 14) / 14, (p.y + 196) / 16);
    const float line = bell((p.y + 214 + 0.25F * p.x + p.x * p.x / 90) / 1.6F, p.x / 20);
    const Color color = mix(kSkin, {0.88F, 0.56F, 0.50F}, 0.5F * flush) * (1 - 0.1F * spread * line);
    return Surface{hand(p, spread), color, 0.04F, 1.8F, 1};
  });
}

// The arm that hangs down; its elbow is nearest to the camera and out of focus.
void drawHangingArm(Layer& picture, const Pose& body) {
  const auto softness = [](Vec p) { return 1.4F + 10 * bell((p.x + 168) / 90, (p.y - 440) / 105); };
  drawHand(picture, Pose({0, -150}, body.toPicture({-155, 544}), body.angle() + kPi - 0.16F), 0.4F);
  drawSolid(picture, body, {-220, 265, -48, 600}, 12, [&softness](Vec p) {
    Form form = merge(capsule(p, {-104, 316}, {-168, 452}, 36, 29), capsule(p, {-168, 452}, {-155, 556}, 29, 22), 12);
    form.distance = std::max(form.distance, p.y - 572 - 0.15F * (p.x + 155));
    form.height += creases(p, p.y + 0.5F * p.x, {-168, 452}, 21);
    return clothed(form, p, kGrey, kTweed, 22, softness(p));
  });
}

void drawUpperArm(Layer& picture, const Pose& body) {
  drawSolid(picture, body, {50, 265, 250, 510}, 12, [](Vec p) {
    Form form = capsule(p, {103, 316}, kElbow, 36, 30);
    form.height += creases(p, p.y + 0.9F * p.x, kElbow, 41);
    return clothed(form, p, kGrey, kTweed, 42);
  });
}

void drawForearm(Layer& picture, const Pose& arm) {
  drawHand(picture, arm, 1);
  drawSolid(picture, arm, {-34, -165, 34, -120}, 5, [](Vec p) {
    Form form = capsule(p, {0, 0}, {0, -170}, 30, 21);
    form.distance = std::max({form.distance, -p.y - 158, p.y + 130});
    return Surface{form, kWhite, 0.02F, 1.8F};
  });
  drawSolid(picture, arm, {-40, -155, 40, 40}, 5, [](Vec p) {
    Form form = capsule(p, {0, 0}, {0, -160}, 30, 24);
    form.distance = std::max(form.distance, -p.y - 146 + 0.004F * p.x * p.x);
    form.height += creases(p, p.y - 0.6F * p.x, {0, -25}, 51);
    return clothed(form, p, kGrey, kTweed, 52, 1.8F);
  });
}

// The waving forearm is the fast part: an average over the open shutter.
void drawWavingArm(Layer& picture, const Pose& body, float seconds) {
  constexpr int kMoments = 8;
  constexpr float kShutter = 0.5F / kFrameRate;  // seconds
  const Vec elbow = body.toPicture(kElbow);
  const Box reach{elbow.x - 150, elbow.y - 320, elbow.x + 320, elbow.y + 60};
  Layer average(reach);
  for (int i = 0; i < kMoments; ++i) {
    const float moment = seconds + kShutter * ((static_cast<float>(i) + 0.5F) / kMoments - 0.5F);
    Layer still(reach);
    drawForearm(still, Pose({0, 0}, elbow, body.angle() + 0.27F + 0.36F * swing(5, moment)));
    average.add(still, 1.0F / kMoments);
  }
  picture.cover(average);
}

// How much the mouth's line is lifted at its corners: y as if the mouth were straight.
float smileY(Vec q) { return q.y + q.x * q.x / 95; }

// `p` places the outline of the head, `q` its features.
Form faceForm(Vec p, Vec q) {
  const float ax = std::abs(q.x), smile = smileY(q);
  Form form = merge(ellipsoid(p, {0, 136}, 60, 64, 58), ellipsoid(p, {0, 180}, 46, 55, 52), 26);
  const float brow = 4 * bell((ax - 24) / 20, (q.y - 135) / 8);
  const float eyes = 5 * bell((ax - 25) / 11, (q.y - 151) / 8) - 8 * bell((ax - 25) / 16, (q.y - 149) / 11);
  const float bridge = smoothStep(136, 184, q.y) * smoothStep(194, 184, q.y);
  const float nose = 13 * bridge * bell(q.x / mix(6.0F, 9.0F, bridge), 0) + 5 * bell(q.x / 8, (q.y - 181) / 7) +
                     4 * bell((ax - 9.5F) / 5, (q.y - 184) / 5);
  const float lips = 3.5F * bell(q.x / 17, (smile - 202) / 4) + 4.5F * bell(q.x / 15, (smile - 211) / 5) -
                     3 * bell(q.x / 16, (smile - 206.5F) / 2) - 1.5F * bell((ax - 22) / 4, (smile - 204) / 4);
  const float cheeks = 5 * bell((ax - 34) / 18, (q.y - 178) / 18);
  const float chin = 5 * bell(q.x / 15, (q.y - 228) / 9);
  form.height += brow + eyes + nose + lips + cheeks + chin;
  return form;
}

// Paints an eye over the skin. `e` is the place from the eye's middle; x grows away from the nose, or towards it where
// `mirrored`. The eye is an almond between two lids, the upper of which closes for `blink` 0..1.
Color withEye(Color skin, Vec e, bool mirrored, float blink) {
  const float almond = std::max(0.0F, 1 - e.x * e.x / 196);
  const float upper = mix(-8.5F, 4.0F, blink) * almond, lower = 5.5F * almond;
  const float open = smoothStep(-0.7F, 0.7F, std::min(e.y - upper, lower - e.y));
  const Vec view{mirrored ? -e.x : e.x, e.y};  // both eyes look, and shine, the same way
  const float fromIris = std::hypot(view.x, view.y + 1.2F), fromGlint = std::hypot(view.x + 2.2F, view.y + 3.6F);
  Color eye = mix(Color{0.42F, 0.25F, 0.15F}, {0.93F, 0.91F, 0.90F}, smoothStep(6.0F, 7.4F, fromIris));
  eye = mix(Color{0.05F, 0.04F, 0.05F}, eye, smoothStep(2.4F, 3.6F, fromIris));
  eye = eye * (1 - 0.4F * smoothStep(4, 0, e.y - upper));
  eye = mix(eye, {1, 1, 1}, smoothStep(2.2F, 1.0F, fromGlint));
  const float lash = 0.85F * bell((e.y - upper) / 1.6F, 0) * smoothStep(16, 12, std::abs(e.x));
  const float crease = 0.25F * bell((e.y - upper + 5) / 1.5F, e.x / 12);
  return mix(mix(skin, eye, almond > 0 ? open : 0), {0.16F, 0.10F, 0.08F}, std::max(lash, crease));
}

Color faceColor(Vec q, float blink) {
  const float ax = std::abs(q.x), mouth = std::abs(smileY(q) - 206.5F);
  const float blush = 0.45F * bell((ax - 36) / 17, (q.y - 180) / 15) + 0.25F * bell(q.x / 9, (q.y - 183) / 8);
  Color color = mix(kSkin, {0.90F, 0.52F, 0.47F}, blush);
  const float lipsHalfHeight = 7.5F * std::sqrt(std::max(0.0F, 1 - q.x * q.x / 420)) - 0.5F;
  color = mix(color, {0.76F, 0.40F, 0.40F}, 0.8F * smoothStep(1.0F, -1.0F, mouth - lipsHalfHeight));
  color = color * (1 - 0.6F * bell(q.x / 15, mouth / 1.3F));
  color = color * (1 - 0.55F * bell((ax - 6) / 3, (q.y - 188.5F) / 2));  // nostrils
  const float fromBrow = std::abs(q.y - 131 - (ax - 26) * (ax - 26) / 90 + 0.06F * ax);
  const float brow = 0.8F * smoothStep(3.4F, 0.8F, fromBrow) * smoothStep(19, 15, std::abs(ax - 26));
  return withEye(mix(color, {0.27F, 0.17F, 0.12F}, brow), {ax - 25, q.y - 151}, q.x <= 0, blink);
}

void drawFace(Layer& picture, const Pose& head, float turn, float blink) {
  drawSolid(picture, head, {-68, 62, 68, 264}, 22, [turn, blink](Vec p) {
    // Turning the head moves what stands out more than the outline.
    const Vec q{p.x - turn * (1.15F - p.x * p.x / 3600), p.y};
    const Color color = faceColor(q, blink);
    return Surface{faceForm(p, q), color, 0.05F * color.r * color.r, 1.4F, 1};  // dark paint shines less
  });
}

}  // namespace

void drawSubject(Layer& picture, float seconds) {
  const float sway = swing(1, seconds);
  const Pose body({0, 860}, {570 + 9 * sway, 860}, 0.022F * sway);
  const float turn = 7 * swing(1, seconds - 0.35F);
  const Pose head(kNeck, body.toPicture(kNeck), body.angle() + 0.05F * swing(2, seconds - 0.2F));
  drawBackHair(picture, head);
  drawJeans(picture, body);
  drawShirt(picture, body);
  drawJacket(picture, body, turn);
  drawHangingArm(picture, body);
  drawUpperArm(picture, body);
  drawFace(picture, head, turn, bell((seconds - 1.9F) / 0.06F, 0));
  drawFrontHair(picture, head, seconds);
  drawWavingArm(picture, body, seconds);
}

}  // namespace kalvetra::sample
