#include "orv/imaging/color_extensions.h"

#include <cmath>

#include "imaging/colour.h"

namespace {

/// Values up to 0 and NaN become 0; others keep the low 8 bits of their whole part.
BYTE StretchChannel(BYTE channel, float factor) {
  const float value = 255.0f - static_cast<float>(255 - channel) * factor;
  return value > 0.0f ? static_cast<BYTE>(static_cast<int>(value)) : BYTE{0};
}

float CubeRootOrLine(float t) {
  if (t > 0.008856f) return static_cast<float>(std::pow(static_cast<double>(t), 1.0 / 3.0));
  return 7.787f * t + 0.13793103f;
}

}  // namespace

double ColorExtensions::CalculateGrayValue(BYTE red, BYTE green, BYTE blue) {
  return orv::GrayThousandths(red, green, blue) / 1000.0;
}

Color ColorExtensions::ToGray(const Color& colour) {
  const BYTE grey =
      static_cast<BYTE>(CalculateGrayValue(colour.GetRed(), colour.GetGreen(), colour.GetBlue()));
  return {255, grey, grey, grey};
}

Color ColorExtensions::StretchToDark(const Color& colour, BYTE level) {
  const float factor = 255.0f / static_cast<float>(255 - level);
  return {255, StretchChannel(colour.GetRed(), factor), StretchChannel(colour.GetGreen(), factor),
          StretchChannel(colour.GetBlue(), factor)};
}

BOOL ColorExtensions::IsNearlyWhite(const Color& colour) {
  return colour.GetRed() >= 254 && colour.GetGreen() >= 254 && colour.GetBlue() >= 254;
}

BOOL ColorExtensions::IsNearlyBlack(const Color& colour) {
  return colour.GetRed() <= 1 && colour.GetGreen() <= 1 && colour.GetBlue() <= 1;
}

void ColorExtensions::RGBToLab(const Color& colour, float* lab) {
  const float red = orv::LinearChannel(colour.GetRed());
  const float green = orv::LinearChannel(colour.GetGreen());
  const float blue = orv::LinearChannel(colour.GetBlue());

  // Kept for compatibility: X, Y and Z are multiplied by the white point and not divided by it
  // again.
  const float x = (0.412453f * red + 0.35758f * green + 0.180423f * blue) * 95.047f;
  const float y = (0.212671f * red + 0.71516f * green + 0.072169f * blue) * 100.0f;
  const float z = (0.019334f * red + 0.119193f * green + 0.950227f * blue) * 108.883f;

  const float fx = CubeRootOrLine(x);
  const float fy = CubeRootOrLine(y);
  const float fz = CubeRootOrLine(z);
  lab[0] = 116.0f * fy - 16.0f;
  lab[1] = 500.0f * (fx - fy);
  lab[2] = 200.0f * (fy - fz);
}

double ColorExtensions::CalculateToleranceCIE76(const Color& first, const Color& second) {
  float a[3];
  float b[3];
  RGBToLab(first, a);
  RGBToLab(second, b);
  const double lightness = static_cast<double>(a[0]) - static_cast<double>(b[0]);
  const double greenRed = static_cast<double>(a[1]) - static_cast<double>(b[1]);
  const double blueYellow = static_cast<double>(a[2]) - static_cast<double>(b[2]);
  return std::sqrt(lightness * lightness + greenRed * greenRed + blueYellow * blueYellow) /
         orv::kDistanceScale;
}
