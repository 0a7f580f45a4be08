// Netpbm files (P5, P6, P7) to and from images.
#include "netpbm.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "zel.h"

namespace {

constexpr unsigned long kMaxSide = 65535;
constexpr unsigned long long kMaxPixels = 1ull << 28;
// Numbers longer than this are certainly too large for any field; reading stops there.
constexpr int kMaxDigits = 9;
constexpr size_t kMaxPamLine = 4096;
// Pixel data of unknown length are read in pieces of this many bytes.
constexpr size_t kPiece = size_t{1} << 20;

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

bool fail(std::string* why, const std::string& reason) {
  if (why) *why = reason;
  return false;
}

struct Header {
  unsigned long width = 0, height = 0, depth = 0, maxval = 0;
};

// Skips whitespace and comments (from '#' to the end of the line) between P5/P6 tokens.
void skip_space(std::FILE* f) {
  for (;;) {
    int c = std::getc(f);
    if (c == '#') {
      while (c != '\n' && c != '\r' && c != EOF) c = std::getc(f);
    } else if (c == EOF || !std::isspace(c)) {
      if (c != EOF) std::ungetc(c, f);
      return;
    }
  }
}

// A decimal number in a P5/P6 header, followed by whitespace or a comment. The whitespace
// after the last number (maxval) is the single byte that ends the header; it is consumed.
bool read_number(std::FILE* f, bool last, unsigned long* value, std::string* why,
                 const char* field) {
  skip_space(f);
  unsigned long n = 0;
  int digits = 0;
  int c = std::getc(f);
  for (; c != EOF && std::isdigit(c); c = std::getc(f)) {
    if (++digits > kMaxDigits) return fail(why, std::string(field) + " is too large");
    n = n * 10 + static_cast<unsigned long>(c - '0');
  }
  if (digits == 0) {
    return fail(why, c == EOF ? std::string("truncated header")
                              : std::string("bad ") + field + " in header");
  }
  if (c == EOF) return fail(why, "truncated header");
  if (!std::isspace(c) && (last || c != '#')) {
    return fail(why, std::string("bad ") + field + " in header");
  }
  if (c == '#') std::ungetc(c, f);
  *value = n;
  return true;
}

// "KEY value" lines of a P7 header up to ENDHDR.
bool read_pam_header(std::FILE* f, Header* h, std::string* why) {
  bool seen[4] = {false, false, false, false};
  static const char* const keys[4] = {"WIDTH", "HEIGHT", "DEPTH", "MAXVAL"};
  unsigned long* fields[4] = {&h->width, &h->height, &h->depth, &h->maxval};
  for (;;) {
    std::string line;
    int c;
    while ((c = std::getc(f)) != EOF && c != '\n') {
      if (line.size() >= kMaxPamLine) return fail(why, "PAM header line too long");
      line.push_back(static_cast<char>(c));
    }
    if (c == EOF) return fail(why, "truncated header");
    size_t start = 0;
    while (start < line.size() && std::isspace(static_cast<unsigned char>(line[start]))) {
      ++start;
    }
    if (start == line.size() || line[start] == '#') continue;
    size_t end = start;
    while (end < line.size() && !std::isspace(static_cast<unsigned char>(line[end]))) ++end;
    const std::string key = line.substr(start, end - start);
    if (key == "ENDHDR") break;
    if (key == "TUPLTYPE") continue;
    int index = -1;
    for (int k = 0; k < 4; ++k) {
      if (key == keys[k]) index = k;
    }
    if (index < 0) return fail(why, "unknown PAM header field " + key.substr(0, 32));
    size_t p = end;
    while (p < line.size() && std::isspace(static_cast<unsigned char>(line[p]))) ++p;
    unsigned long n = 0;
    int digits = 0;
    for (; p < line.size() && std::isdigit(static_cast<unsigned char>(line[p])); ++p) {
      if (++digits > kMaxDigits) return fail(why, key + " is too large");
      n = n * 10 + static_cast<unsigned long>(line[p] - '0');
    }
    while (p < line.size() && std::isspace(static_cast<unsigned char>(line[p]))) ++p;
    if (digits == 0 || p != line.size()) return fail(why, "bad " + key + " in header");
    *fields[index] = n;
    seen[index] = true;
  }
  for (int k = 0; k < 4; ++k) {
    if (!seen[k]) return fail(why, std::string("PAM header lacks ") + keys[k]);
  }
  return true;
}

}  // namespace

unsigned band_of_channel(unsigned c, unsigned channels, Channels order) {
  return order == Channels::rgb && channels == 3 ? 2 - c : c;
}

namespace {

int pixel_of_sample(unsigned s, Sample16 mapping) {
  switch (mapping) {
    case Sample16::offset:
      return int(s) - 32768;
    case Sample16::clamp:
      return int(std::min(s, 32767u));
    case Sample16::wrap:
      break;
  }
  return int(int16_t(uint16_t(s)));
}

unsigned sample_of_pixel(int v, Sample16 mapping) {
  switch (mapping) {
    case Sample16::offset:
      return unsigned(v + 32768);
    case Sample16::clamp:
      return unsigned(std::max(v, 0));
    case Sample16::wrap:
      break;
  }
  return unsigned(uint16_t(v));
}

}  // namespace

ZelImage* read_netpbm(ZelSystemState* state, const std::string& path, std::string* why,
                      const NetpbmLayout& layout, unsigned long long* above) {
  if (above) *above = 0;
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    fail(why, path + ": " + std::strerror(errno));
    return nullptr;
  }
  return read_netpbm_stream(state, file.get(), why, layout, above);
}

ZelImage* read_netpbm_stream(ZelSystemState* state, std::FILE* f, std::string* why,
                             const NetpbmLayout& layout, unsigned long long* above) {
  if (above) *above = 0;
  if (!state) state = zel_default_state();
  char magic[2];
  if (std::fread(magic, 1, 2, f) != 2 || magic[0] != 'P' ||
      (magic[1] != '5' && magic[1] != '6' && magic[1] != '7')) {
    fail(why, "not a P5, P6 or P7 netpbm file");
    return nullptr;
  }
  Header h;
  if (magic[1] == '7') {
    if (std::getc(f) != '\n') {
      fail(why, "bad PAM header");
      return nullptr;
    }
    if (!read_pam_header(f, &h, why)) return nullptr;
    if (h.depth < 1 || h.depth > 4) {
      fail(why, "unsupported DEPTH " + std::to_string(h.depth));
      return nullptr;
    }
  } else {
    h.depth = magic[1] == '5' ? 1 : 3;
    if (!read_number(f, false, &h.width, why, "width") ||
        !read_number(f, false, &h.height, why, "height") ||
        !read_number(f, true, &h.maxval, why, "maxval")) {
      return nullptr;
    }
  }
  if (h.width == 0 || h.height == 0) {
    fail(why, "empty image");
    return nullptr;
  }
  if (h.width > kMaxSide || h.height > kMaxSide ||
      static_cast<unsigned long long>(h.width) * h.height > kMaxPixels) {
    fail(why, "image too large (" + std::to_string(h.width) + " x " + std::to_string(h.height) +
                  ")");
    return nullptr;
  }
  if (h.maxval != 255 && h.maxval != 65535) {
    fail(why, "unsupported maxval " + std::to_string(h.maxval) + " (255 or 65535)");
    return nullptr;
  }
  const size_t sample_bytes = h.maxval == 255 ? 1 : 2;
  const size_t row_bytes = h.width * h.depth * sample_bytes;
  const unsigned long long data_bytes = static_cast<unsigned long long>(row_bytes) * h.height;
  // No image is made for pixel data that are not there. A regular file's length is known:
  // a short one is refused at once. A stream of unknown length (a pipe, a terminal, memory)
  // is read first, piece by piece, so that what is held never exceeds what has arrived by
  // more than one piece, whatever the header claims.
  std::vector<unsigned char> data;
  struct stat info;
  const long here = std::ftell(f);
  const int fd = fileno(f);
  if (here >= 0 && fd >= 0 && fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
    const unsigned long long left =
        static_cast<unsigned long long>(info.st_size) - static_cast<unsigned long long>(here);
    if (static_cast<unsigned long long>(info.st_size) < static_cast<unsigned long long>(here) ||
        left < data_bytes) {
      fail(why, "truncated pixel data");
      return nullptr;
    }
  } else {
    while (data.size() < data_bytes) {
      const size_t piece =
          static_cast<size_t>(std::min<unsigned long long>(data_bytes - data.size(), kPiece));
      const size_t start = data.size();
      data.resize(start + piece);
      if (std::fread(data.data() + start, 1, piece, f) != piece) {
        fail(why, "truncated pixel data");
        return nullptr;
      }
    }
  }
  const int type = sample_bytes == 1 ? ZEL_UINT8 : ZEL_INT16;
  ZelImage* image =
      state->createImage(static_cast<unsigned>(h.width), static_cast<unsigned>(h.height),
                         static_cast<unsigned>(h.depth), type);
  if (!image) {
    fail(why, "cannot make a " + std::to_string(h.width) + " x " + std::to_string(h.height) +
                  " image");
    return nullptr;
  }
  std::vector<unsigned char> row(data.empty() ? row_bytes : 0);
  for (unsigned y = 0; y < h.height; ++y) {
    const unsigned char* p = data.data() + (data.empty() ? 0 : y * row_bytes);
    if (data.empty()) {
      if (std::fread(row.data(), 1, row.size(), f) != row.size()) {
        image->destroy();
        fail(why, "truncated pixel data");
        return nullptr;
      }
      p = row.data();
    }
    for (unsigned x = 0; x < h.width; ++x) {
      for (unsigned c = 0; c < h.depth; ++c) {
        int value = *p++;
        if (sample_bytes == 2) {
          const unsigned sample = unsigned(value) << 8 | *p++;
          if (above && sample > 32767) ++*above;
          value = pixel_of_sample(sample, layout.samples);
        }
        image->setPixel(x, y, band_of_channel(c, unsigned(h.depth), layout.channels), value);
      }
    }
  }
  return image;
}

bool write_netpbm(ZelImage* image, const std::string& path, std::string* why,
                  const NetpbmLayout& layout) {
  const char* tupltype = layout.tupltype;
  if (!image) return fail(why, "no image");
  unsigned width, height, bands;
  image->getDimensions(&width, &height, &bands);
  const int type = image->getDataType();
  if (type != ZEL_UINT8 && type != ZEL_INT16) return fail(why, "unsupported data type");
  const unsigned maxval = type == ZEL_UINT8 ? 255 : 65535;
  std::string header;
  switch (bands) {
    case 1:
    case 3:
      header = std::string(bands == 1 ? "P5\n" : "P6\n") + std::to_string(width) + " " +
               std::to_string(height) + "\n" + std::to_string(maxval) + "\n";
      break;
    case 2:
    case 4:
      header = "P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
               "\nDEPTH " + std::to_string(bands) + "\nMAXVAL " + std::to_string(maxval) +
               "\nTUPLTYPE " +
               (tupltype     ? tupltype
                : bands == 2 ? "GRAYSCALE_ALPHA"
                             : "RGB_ALPHA") +
               "\nENDHDR\n";
      break;
    default:
      return fail(why, "cannot write an image of " + std::to_string(bands) + " bands");
  }
  File file(std::fopen(path.c_str(), "wb"));
  if (!file) return fail(why, path + ": " + std::strerror(errno));
  std::FILE* f = file.get();
  std::fwrite(header.data(), 1, header.size(), f);
  std::vector<unsigned char> row;
  for (unsigned y = 0; y < height; ++y) {
    row.clear();
    for (unsigned x = 0; x < width; ++x) {
      for (unsigned c = 0; c < bands; ++c) {
        const int pixel = image->getPixel(x, y, band_of_channel(c, bands, layout.channels));
        const unsigned value = type == ZEL_INT16 ? sample_of_pixel(pixel, layout.samples)
                                                 : static_cast<unsigned>(pixel);
        if (type == ZEL_INT16) row.push_back(static_cast<unsigned char>((value >> 8) & 0xff));
        row.push_back(static_cast<unsigned char>(value & 0xff));
      }
    }
    std::fwrite(row.data(), 1, row.size(), f);
  }
  const bool failed = std::ferror(f) != 0;
  if (std::fclose(file.release()) != 0 || failed) {
    return fail(why, path + ": cannot write");
  }
  return true;
}
