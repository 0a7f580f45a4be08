// The host's colour conversions, from what each one means (zel_colour.h).
#include "zel_colour.h"

#include <algorithm>
#include <cmath>

#include "zel.h"

namespace {

// Indices of the bands of an rgb pixel and of a ycc pixel.
enum { kBlue = 0, kGreen = 1, kRed = 2 };
enum { kLuma = 0, kBlueDifference = 1, kRedDifference = 2 };

int to_byte(double value) {
  return int(std::clamp(std::floor(value + 0.5), 0.0, 255.0));
}

// The BT.709 transfer characteristic and its inverse, on values 0..255 (the curve's 0..1
// scaled by 255; the straight part in whole units, so that its halves stay exact).
double encode_709(double x) {
  return x < 0.018 * 255 ? 4.5 * x : 255 * (1.099 * std::pow(x / 255, 0.45) - 0.099);
}
double decode_709(double x) {
  return x < 0.081 * 255 ? x / 4.5 : 255 * std::pow((x / 255 + 0.099) / 1.099, 1 / 0.45);
}

struct Weights {
  double red, blue;  // Kr, Kb; green takes the rest
};
constexpr Weights k601{0.299, 0.114};
constexpr Weights k709{0.2126, 0.0722};

// Luma of an rgb pixel on 0..1 values.
double luma(const Weights& k, double r, double g, double b) {
  return k.red * r + (1 - k.red - k.blue) * g + k.blue * b;
}

void rgb_to_ycc(const Weights& k, const int* rgb, int* out) {
  const double r = rgb[kRed] / 255.0, g = rgb[kGreen] / 255.0, b = rgb[kBlue] / 255.0;
  const double e = luma(k, r, g, b);
  out[kLuma] = to_byte(16 + 219 * e);
  out[kBlueDifference] = to_byte(128 + 224 * (b - e) / (2 - 2 * k.blue));
  out[kRedDifference] = to_byte(128 + 224 * (r - e) / (2 - 2 * k.red));
}

// Green from luma and the other two, all on 0..1.
double green_of(const Weights& k, double e, double r, double b) {
  return (e - k.red * r - k.blue * b) / (1 - k.red - k.blue);
}

void rgb_out(double r, double g, double b, int* out) {
  out[kRed] = to_byte(255 * r);
  out[kGreen] = to_byte(255 * g);
  out[kBlue] = to_byte(255 * b);
}

void ycc601_to_rgb(const int* ycc, int* out) {
  const Weights& k = k601;
  const double e = (ycc[kLuma] - 16) / 219.0;
  const double b = e + (ycc[kBlueDifference] - 128) * (2 - 2 * k.blue) / 224;
  const double r = e + (ycc[kRedDifference] - 128) * (2 - 2 * k.red) / 224;
  rgb_out(r, green_of(k, e, r, b), b, out);
}

void rgb_to_photoycc(const int* rgb, int* out) {
  const double r = rgb[kRed] / 255.0, g = rgb[kGreen] / 255.0, b = rgb[kBlue] / 255.0;
  const double e = luma(k601, r, g, b);
  out[kLuma] = to_byte(255 * e / 1.402);
  out[kBlueDifference] = to_byte(111.40 * (b - e) + 156);
  out[kRedDifference] = to_byte(135.64 * (r - e) + 137);
}

void photoycc_to_rgb(const int* ycc, int* out) {
  const double e = ycc[kLuma] * 1.402 / 255;
  const double b = e + (ycc[kBlueDifference] - 156) / 111.40;
  const double r = e + (ycc[kRedDifference] - 137) / 135.64;
  rgb_out(r, green_of(k601, e, r, b), b, out);
}

void per_band(double (*curve)(double), const int* in, int* out) {
  for (int band = 0; band < 3; ++band) out[band] = to_byte(curve(in[band]));
}

void linear_to_ycc(const Weights& k, const int* rgb, int* out) {
  int coded[3];
  per_band(encode_709, rgb, coded);
  rgb_to_ycc(k, coded, out);
}

void linear_to_y(const int* rgb, int* out) {
  out[0] = to_byte(0.299 * rgb[kRed] + 0.587 * rgb[kGreen] + 0.114 * rgb[kBlue]);
}

void linear_to_cmyk(const int* rgb, int* out) {
  out[0] = 255 - rgb[kRed];
  out[1] = 255 - rgb[kGreen];
  out[2] = 255 - rgb[kBlue];
  out[3] = 0;
}

void cmyk_to_linear(const int* cmyk, int* out) {
  out[kRed] = std::max(0, 255 - cmyk[0] - cmyk[3]);
  out[kGreen] = std::max(0, 255 - cmyk[1] - cmyk[3]);
  out[kBlue] = std::max(0, 255 - cmyk[2] - cmyk[3]);
}

struct Conversion {
  int from, to;
  void (*convert)(const int* in, int* out);
};

const Conversion kConversions[] = {
    {ZEL_CS_RGBLINEAR, ZEL_CS_RGB709,
     [](const int* in, int* out) { per_band(encode_709, in, out); }},
    {ZEL_CS_RGB709, ZEL_CS_RGBLINEAR,
     [](const int* in, int* out) { per_band(decode_709, in, out); }},
    {ZEL_CS_RGB709, ZEL_CS_YCC601, [](const int* in, int* out) { rgb_to_ycc(k601, in, out); }},
    {ZEL_CS_RGB709, ZEL_CS_YCC709, [](const int* in, int* out) { rgb_to_ycc(k709, in, out); }},
    {ZEL_CS_RGB709, ZEL_CS_PHOTOYCC, rgb_to_photoycc},
    {ZEL_CS_YCC601, ZEL_CS_RGB709, ycc601_to_rgb},
    {ZEL_CS_PHOTOYCC, ZEL_CS_RGB709, photoycc_to_rgb},
    {ZEL_CS_RGBLINEAR, ZEL_CS_YCC601,
     [](const int* in, int* out) { linear_to_ycc(k601, in, out); }},
    {ZEL_CS_RGBLINEAR, ZEL_CS_YCC709,
     [](const int* in, int* out) { linear_to_ycc(k709, in, out); }},
    {ZEL_CS_RGBLINEAR, ZEL_CS_YLINEAR, linear_to_y},
    {ZEL_CS_RGBLINEAR, ZEL_CS_CMYK, linear_to_cmyk},
    {ZEL_CS_CMYK, ZEL_CS_RGBLINEAR, cmyk_to_linear},
};

const Conversion* find(int from, int to) {
  for (const Conversion& c : kConversions) {
    if (c.from == from && c.to == to) return &c;
  }
  return nullptr;
}

}  // namespace

bool zel_converts_colour(int from, int to) {
  return find(from, to) != nullptr;
}

bool zel_convert_colour(int from, int to, const int* in, int* out) {
  const Conversion* c = find(from, to);
  if (!c) return false;
  c->convert(in, out);
  return true;
}
