// Netpbm files: round trips, the bytes written, and refusal of malformed files.
#include "netpbm.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <tuple>

#include "host_test.h"

namespace {

using namespace std::string_literals;

class NetpbmTest : public HostTest {
 protected:
  void TearDown() override {
    std::remove(path.c_str());
    HostTest::TearDown();
  }
  void write_file(const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
  std::string read_file() {
    std::stringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
  }
  // Reads the file; an image is released, a refusal must carry one line.
  bool readable() {
    std::string why;
    Owned<ZelImage> image(read_netpbm(state, path, &why));
    if (!image) {
      EXPECT_FALSE(why.empty());
      EXPECT_EQ(why.find('\n'), std::string::npos) << why;
    }
    return image != nullptr;
  }
  std::string path = testing::TempDir() + "netpbm_test_" + std::to_string(getpid()) + ".pam";
};

TEST_F(NetpbmTest, RoundTripsWriteTheHeaderOfEachKindAndBigEndianSamples) {
  const std::string pam = "P7\nWIDTH 3\nHEIGHT 2\nDEPTH ";
  using Kind = std::tuple<unsigned, int, std::string>;  // bands, type, header
  for (auto [bands, type, header] :
       {Kind{1, ZEL_UINT8, "P5\n3 2\n255\n"}, Kind{3, ZEL_UINT8, "P6\n3 2\n255\n"},
        Kind{2, ZEL_UINT8, pam + "2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\n"},
        Kind{4, ZEL_UINT8, pam + "4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"},
        Kind{1, ZEL_INT16, "P5\n3 2\n65535\n"}, Kind{3, ZEL_INT16, "P6\n3 2\n65535\n"},
        Kind{4, ZEL_INT16, pam + "4\nMAXVAL 65535\nTUPLTYPE RGB_ALPHA\nENDHDR\n"}}) {
    SCOPED_TRACE(header);
    const bool wide = type == ZEL_INT16;
    Owned<ZelImage> image(state->createImage(3, 2, bands, type, 5));
    for (unsigned k = 0; k < 6 * bands; ++k) {
      const int v = int(k * 37 % 256);
      image->setPixel(k / bands % 3, k / bands / 3, k % bands, wide ? v * 250 - 32000 : v);
    }
    if (wide) image->setPixel(0, 0, 0, -2);
    std::string why;
    ASSERT_TRUE(write_netpbm(image.get(), path, &why)) << why;
    const std::string bytes = read_file();
    ASSERT_EQ(bytes.substr(0, header.size()), header);
    EXPECT_EQ(bytes.size(), header.size() + 6 * bands * (wide ? 2 : 1));
    // The first sample is channel 0 of pixel 0: band 2 of a 3-band image (red), else band 0.
    const int first = image->getPixel(0, 0, bands == 3 ? 2 : 0);
    const std::string sample =
        wide ? std::string{char(first >> 8), char(first & 0xff)} : std::string(1, char(first));
    EXPECT_EQ(bytes.substr(header.size(), sample.size()), sample);
    Owned<ZelImage> back(read_netpbm(state, path, &why));
    ASSERT_TRUE(back) << why;
    EXPECT_EQ(std::tuple(back->getDataType(), back->getBands()), std::tuple(type, bands));
    for (unsigned k = 0; k < 6 * bands; ++k) {
      const unsigned x = k / bands % 3, y = k / bands / 3, band = k % bands;
      EXPECT_EQ(back->getPixel(x, y, band), image->getPixel(x, y, band)) << k;
    }
  }
}

TEST_F(NetpbmTest, ThreeChannelFilesAreRedGreenBlueAndBandsBlueGreenRed) {
  const std::string rgb =
      "P6\n2 1\n255\n\xc8\x64\x32\x01\x02\x03"s;  // red 200, green 100, blue 50
  write_file(rgb);
  std::string why;
  Owned<ZelImage> image(read_netpbm(state, path, &why));
  ASSERT_TRUE(image) << why;
  EXPECT_EQ(pixels(image.get()), (std::vector<int>{50, 100, 200, 3, 2, 1}));
  ASSERT_TRUE(write_netpbm(image.get(), path, &why)) << why;
  EXPECT_EQ(read_file(), rgb);
  // Read in band order (a ycc file), and files of other channel counts, as they are.
  Owned<ZelImage> ycc(read_netpbm(state, path, &why, {Channels::as_bands}));
  EXPECT_EQ(pixels(ycc.get()), (std::vector<int>{200, 100, 50, 1, 2, 3}));
  write_file("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE CMYK\nENDHDR\n\1\2\3\4"s);
  Owned<ZelImage> four(read_netpbm(state, path, &why));
  EXPECT_EQ(pixels(four.get()), (std::vector<int>{1, 2, 3, 4}));
  ASSERT_TRUE(write_netpbm(four.get(), path, &why, {Channels::rgb, Sample16::wrap, "CMYK"}))
      << why;
  EXPECT_NE(read_file().find("TUPLTYPE CMYK\n"), std::string::npos);
}

TEST_F(NetpbmTest, SixteenBitSamplesBecomeSignedPixelsAsAskedAndGoBackTheSameWay) {
  const std::string file = "P5\n5 1\n65535\n\0\0\0\1\x7f\xff\x80\0\xff\xff"s;
  struct Mode {
    Sample16 mapping;
    std::vector<int> pixels;
    std::string written;  // the samples written back
  };
  for (const Mode& m : {Mode{Sample16::wrap, {0, 1, 32767, -32768, -1}, file.substr(13)},
                        Mode{Sample16::offset, {-32768, -32767, -1, 0, 32767}, file.substr(13)},
                        Mode{Sample16::clamp,
                             {0, 1, 32767, 32767, 32767},
                             "\0\0\0\1\x7f\xff\x7f\xff\x7f\xff"s}}) {
    write_file(file);
    std::string why;
    unsigned long long above = 0;
    Owned<ZelImage> image(read_netpbm(state, path, &why, {Channels::rgb, m.mapping}, &above));
    ASSERT_TRUE(image) << why;
    EXPECT_EQ(above, 2u);
    EXPECT_EQ(pixels(image.get()), m.pixels);
    ASSERT_TRUE(write_netpbm(image.get(), path, &why, {Channels::rgb, m.mapping})) << why;
    EXPECT_EQ(read_file().substr(13), m.written);
  }
}

TEST_F(NetpbmTest, WritesAChildsOwnPixels) {
  Owned<ZelImage> root(state->createImage(4, 4, 4, ZEL_UINT8));
  root->setPixel(2, 1, 2, 77);
  ZelImage* child = root->createChild(1, 1, 2, 1, 1, 3);
  std::string why;
  ASSERT_TRUE(write_netpbm(child, path, &why)) << why;
  EXPECT_EQ(read_file(), "P6\n2 1\n255\n\0\0\0\0\x4d\0"s);
}

TEST_F(NetpbmTest, ReadsCommentsAndPamHeaderVariants) {
  write_file("P5 # comment\n#another\n2# here\n1\n255\nAB");
  std::string why;
  Owned<ZelImage> gray(read_netpbm(state, path, &why));
  ASSERT_TRUE(gray) << why;
  EXPECT_EQ(gray->getPixel(1, 0, 0), 'B');
  write_file(
      "P7\n# c\nTUPLTYPE GRAYSCALE\nHEIGHT 1\nWIDTH 1\nDEPTH 1\nMAXVAL 65535\nENDHDR\n\x80\0"s);
  Owned<ZelImage> wide(read_netpbm(nullptr, path, &why));
  ASSERT_TRUE(wide) << why;
  EXPECT_EQ(wide->getPixel(0, 0, 0), -32768);
}

TEST_F(NetpbmTest, RefusesMalformedFiles) {
  for (const char* bytes :
       {"", "P3\n1 1\n255\n1", "P5\n1 1\n1000\nA", "P5\n1 1\n0\nA", "P5\n0 1\n255\n",
        "P5\n70000 1\n255\n", "P5\n65535 65535\n255\n", "P5\n2 2\n255\nABC", "P5\n2 2\n255",
        "P5\n-2 2\n255\nABCD", "P5\n2x 2\n255\nABCD", "P5\n99999999999999999999 2\n255\nABCD",
        "P6\n1 1\n255\nAB", "P7\nWIDTH 1\nHEIGHT 1\nMAXVAL 255\nENDHDR\nA",
        "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\nAAAAA",
        "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nCOLOR 1\nENDHDR\nA",
        "P7\nWIDTH 1 2\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nENDHDR\nA",
        "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\n", "P7 WIDTH 1\n"}) {
    write_file(bytes);
    EXPECT_FALSE(readable()) << bytes;
  }
  std::string why;
  EXPECT_EQ(read_netpbm(state, path + ".absent", &why), nullptr);
  EXPECT_NE(why.find(".absent"), std::string::npos);
  EXPECT_FALSE(write_netpbm(nullptr, path, &why));
}

// Every truncation and many single-byte corruptions of valid files are read or refused
// without a crash.
TEST_F(NetpbmTest, DamagedFilesNeverCrash) {
  const std::vector<std::string> valid = {
      "P5\n# c\n3 2\n255\nABCDEF", "P6\n1 2\n65535\n\0\1\2\3\4\5\6\7\10\11\12\13"s,
      "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nABCD"};
  int read = 0;
  for (const std::string& file : valid) {
    write_file(file);
    EXPECT_TRUE(readable()) << file;
    for (size_t length = 0; length < file.size(); ++length) {
      write_file(file.substr(0, length));
      EXPECT_FALSE(readable()) << length;
    }
    for (size_t at = 0; at < file.size(); ++at) {
      for (char r : {'\0', '\n', ' ', '#', '9', '0', '-', 'P', '\xff'}) {
        std::string damaged = file;
        damaged[at] = r;
        write_file(damaged);
        read += readable();
      }
    }
  }
  EXPECT_GT(read, 0);
}

// A pipe's length is unknown: its pixel data are read before the image is made, so a header
// that promises a gigabyte over three bytes is refused as truncated, and a whole stream reads
// as the same file would.
TEST_F(NetpbmTest, StreamsOfUnknownLengthAreReadBeforeTheImageIsMade) {
  auto from_pipe = [&](const std::string& bytes, std::string* why) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), ssize_t(bytes.size()));
    close(ends[1]);
    std::FILE* stream = fdopen(ends[0], "rb");
    ZelImage* image = read_netpbm_stream(state, stream, why);
    std::fclose(stream);
    return Owned<ZelImage>(image);
  };
  std::string why;
  EXPECT_EQ(from_pipe("P6\n65535 4096\n255\n\1\2\3", &why), nullptr);
  EXPECT_EQ(why, "truncated pixel data");
  const std::string file = "P6\n2 1\n255\n\1\2\3\4\5\6";
  Owned<ZelImage> piped = from_pipe(file, &why);
  ASSERT_NE(piped, nullptr) << why;
  write_file(file);
  Owned<ZelImage> read(read_netpbm(state, path, &why));
  ASSERT_NE(read, nullptr) << why;
  for (unsigned x = 0; x < 2; ++x) {
    for (unsigned b = 0; b < 3; ++b)
      EXPECT_EQ(piped->getPixel(x, 0, b), read->getPixel(x, 0, b));
  }
  EXPECT_EQ(piped->getPixel(0, 0, 2), 1);  // red, the file's first channel, is band 2
}

}  // namespace
