#include "tests/png_file.h"

#include <array>
#include <string>

#include "tests/fixtures.h"

namespace orv::test {
namespace {

int ChannelCount(const PngKind& kind) {
  constexpr int kCounts[] = {1, 0, 3, 1, 2, 0, 4};
  return kCounts[kind.colourType];
}

/// A sample of a channel, from 0 to the maximum for its depth.
unsigned Sample(const PngKind& kind, int x, int y, int channel) {
  const unsigned max = (1u << kind.depth) - 1;
  const bool isAlpha = kind.colourType >= 4 && channel == ChannelCount(kind) - 1;
  if (isAlpha && !kind.hasAlpha) return max;
  const unsigned value = static_cast<unsigned>(x * 37 + y * 101 + channel * 59) * 257u;
  return value >> 3 & max;
}

/// Colours of the palette, with alpha for transparent entries.
std::uint32_t PaletteColour(const PngKind& kind, unsigned index) {
  const std::uint32_t alpha = kind.hasTransparency && index < 9 ? index * 20 : 255;
  return alpha << 24 | (index * 7 & 255) << 16 | (255 - index) << 8 | (index * 3 & 255);
}

std::string BigEndian(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

std::uint32_t Crc(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<std::uint8_t>(byte);
    for (int i = 0; i < 8; ++i) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
  }
  return ~crc;
}

std::string Chunk(const std::string& kind, const std::string& data) {
  return BigEndian(static_cast<std::uint32_t>(data.size())) + kind + data +
         BigEndian(Crc(kind + data));
}

/// A zlib stream of stored blocks.
std::string Stored(const std::string& data) {
  std::string stream = "\x78\x01";
  constexpr std::size_t kMaxBlock = 65535;
  for (std::size_t i = 0; i < data.size(); i += kMaxBlock) {
    const std::string block = data.substr(i, kMaxBlock);
    const auto size = static_cast<std::uint16_t>(block.size());
    stream += static_cast<char>(i + kMaxBlock >= data.size());
    for (const unsigned part : {unsigned{size}, ~unsigned{size}}) {
      stream += static_cast<char>(part);
      stream += static_cast<char>(part >> 8);
    }
    stream += block;
  }
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (const char byte : data) {
    a = (a + static_cast<std::uint8_t>(byte)) % 65521;
    b = (b + a) % 65521;
  }
  return stream + BigEndian(b << 16 | a);
}

/// The rows of every `stepX`-th and `stepY`-th pixel from a position on, unfiltered.
std::string Rows(const PngKind& kind, int width, int height, int fromX, int fromY, int stepX,
                 int stepY) {
  std::string rows;
  for (int y = fromY; y < height && fromX < width; y += stepY) {
    rows += '\0';
    unsigned bits = 0;
    int bitCount = 0;
    for (int x = fromX; x < width; x += stepX) {
      for (int channel = 0; channel < ChannelCount(kind); ++channel) {
        bits = bits << kind.depth | Sample(kind, x, y, channel);
        for (bitCount += kind.depth; bitCount >= 8; bitCount -= 8) {
          rows += static_cast<char>(bits >> (bitCount - 8));
        }
      }
    }
    if (bitCount > 0) rows += static_cast<char>(bits << (8 - bitCount));
  }
  return rows;
}

}  // namespace

void WritePng(const std::filesystem::path& path, const PngKind& kind, int width, int height,
              bool isInterlaced) {
  std::string header =
      BigEndian(static_cast<std::uint32_t>(width)) + BigEndian(static_cast<std::uint32_t>(height));
  header += static_cast<char>(kind.depth);
  header += static_cast<char>(kind.colourType);
  header += std::string(2, '\0') + static_cast<char>(isInterlaced);
  std::string file = "\x89PNG\r\n\x1a\n" + Chunk("IHDR", header);

  if (kind.colourType == 3) {
    std::string colours;
    std::string alphas;
    for (unsigned i = 0; i < 1u << kind.depth; ++i) {
      const std::uint32_t colour = PaletteColour(kind, i);
      for (int shift = 16; shift >= 0; shift -= 8) colours += static_cast<char>(colour >> shift);
      alphas += static_cast<char>(colour >> 24);
    }
    file += Chunk("PLTE", colours);
    if (kind.hasTransparency) file += Chunk("tRNS", alphas);
  }

  constexpr std::array<std::array<int, 4>, 8> kPasses = {{{0, 0, 1, 1},  // alone, or else the rest
                                                          {0, 0, 8, 8},
                                                          {4, 0, 8, 8},
                                                          {0, 4, 4, 8},
                                                          {2, 0, 4, 4},
                                                          {0, 2, 2, 4},
                                                          {1, 0, 2, 2},
                                                          {0, 1, 1, 2}}};
  std::string rows;
  for (std::size_t i = isInterlaced; i < (isInterlaced ? kPasses.size() : 1); ++i) {
    const auto& [x, y, stepX, stepY] = kPasses[i];
    rows += Rows(kind, width, height, x, y, stepX, stepY);
  }
  WriteBytes(path, file + Chunk("IDAT", Stored(rows)) + Chunk("IEND", ""));
}

std::uint32_t PngColour(const PngKind& kind, int x, int y) {
  const auto channel = [&](int index) {
    const unsigned sample = Sample(kind, x, y, index);
    if (kind.depth == 16) return sample >> 8;
    return sample * 255 / ((1u << kind.depth) - 1);
  };
  if (kind.colourType == 3) return PaletteColour(kind, Sample(kind, x, y, 0));
  const bool isGrey = kind.colourType == 0 || kind.colourType == 4;
  const unsigned alpha = kind.colourType >= 4 ? channel(isGrey ? 1 : 3) : 255;
  if (isGrey) return alpha << 24 | channel(0) * 0x010101;
  return alpha << 24 | channel(0) << 16 | channel(1) << 8 | channel(2);
}

}  // namespace orv::test
