// Netpbm files: round trips, the bytes written, and refusal of malformed files.
#include "netpbm.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "host_test.h"

namespace {

class NetpbmTest : public HostTest {
 protected:
  void TearDown() override {
    std::remove(path.c_str());
    HostTest::TearDown();
  }
  void write_file(const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
  std::string read_file() {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
  }
  // Reads the file; an image is checked and released, a refusal must carry one line.
  bool readable() {
    std::string why;
    ZelImage* image = read_netpbm(state, path, &why);
    if (image) {
      image->destroy();
      return true;
    }
    EXPECT_FALSE(why.empty());
    EXPECT_EQ(why.find('\n'), std::string::npos) << why;
    return false;
  }
  std::string path = testing::TempDir() + "netpbm_test_" + std::to_string(getpid()) + ".pam";
};

TEST_F(NetpbmTest, RoundTrips) {
  struct Case {
    unsigned bands;
    int type;
    const char* header;
  };
  for (Case c :
       {Case{1, ZEL_UINT8, "P5\n3 2\n255\n"}, Case{3, ZEL_UINT8, "P6\n3 2\n255\n"},
        Case{2, ZEL_UINT8,
             "P7\nWIDTH 3\nHEIGHT 2\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\n"
             "ENDHDR\n"},
        Case{4, ZEL_UINT8,
             "P7\nWIDTH 3\nHEIGHT 2\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"},
        Case{1, ZEL_INT16, "P5\n3 2\n65535\n"}, Case{3, ZEL_INT16, "P6\n3 2\n65535\n"},
        Case{4, ZEL_INT16,
             "P7\nWIDTH 3\nHEIGHT 2\nDEPTH 4\nMAXVAL 65535\nTUPLTYPE RGB_ALPHA\n"
             "ENDHDR\n"}}) {
    SCOPED_TRACE(c.header);
    Owned<ZelImage> image(state->createImage(3, 2, c.bands, c.type, 5));
    const bool wide = c.type == ZEL_INT16;
    auto value = [&](unsigned x, unsigned y, unsigned band) {
      int v = static_cast<int>(x * 31 + y * 7 + band * 50);
      return wide ? v * 300 - 32768 : v;
    };
    for (unsigned y = 0; y < 2; ++y)
      for (unsigned x = 0; x < 3; ++x)
        for (unsigned band = 0; band < c.bands; ++band)
          image->setPixel(x, y, band, value(x, y, band));
    if (wide) image->setPixel(0, 0, 0, -1);
    std::string why;
    ASSERT_TRUE(write_netpbm(image.get(), path, &why)) << why;
    const std::string bytes = read_file();
    const std::string header = c.header;
    ASSERT_EQ(bytes.substr(0, header.size()), header);
    EXPECT_EQ(bytes.size(), header.size() + 6 * c.bands * (wide ? 2 : 1));
    if (wide) {
      EXPECT_EQ(bytes.substr(header.size(), 2), "\xff\xff");
    }
    Owned<ZelImage> back(read_netpbm(state, path, &why));
    ASSERT_TRUE(back) << why;
    EXPECT_EQ(back->getDataType(), c.type);
    EXPECT_EQ(back->getBands(), c.bands);
    for (unsigned y = 0; y < 2; ++y)
      for (unsigned x = 0; x < 3; ++x)
        for (unsigned band = 0; band < c.bands; ++band)
          EXPECT_EQ(back->getPixel(x, y, band), image->getPixel(x, y, band));
  }
}

TEST_F(NetpbmTest, WritesAChildsOwnPixels) {
  Owned<ZelImage> root(state->createImage(4, 4, 4, ZEL_UINT8));
  root->setPixel(2, 1, 2, 77);
  ZelImage* child = root->createChild(1, 1, 2, 1, 1, 3);
  std::string why;
  ASSERT_TRUE(write_netpbm(child, path, &why)) << why;
  EXPECT_EQ(read_file(), std::string("P6\n2 1\n255\n\0\0\0\0\x4d\0", 17));
}

TEST_F(NetpbmTest, ReadsCommentsAndPamHeaderVariants) {
  write_file("P5 # comment\n#another\n2# here\n1\n255\nAB");
  std::string why;
  Owned<ZelImage> gray(read_netpbm(state, path, &why));
  ASSERT_TRUE(gray) << why;
  EXPECT_EQ(gray->getPixel(1, 0, 0), 'B');
  const std::string pam =
      "P7\n# comment\nTUPLTYPE GRAYSCALE\nHEIGHT 1\nWIDTH 1\nDEPTH 1\nMAXVAL 65535\nENDHDR\n";
  write_file(pam + std::string("\x80\0", 2));
  Owned<ZelImage> wide(read_netpbm(nullptr, path, &why));
  ASSERT_TRUE(wide) << why;
  EXPECT_EQ(wide->getPixel(0, 0, 0), -32768);
}

TEST_F(NetpbmTest, RefusesMalformedFiles) {
  for (std::string bytes :
       {std::string(""), std::string("P3\n1 1\n255\n1"), std::string("P5\n1 1\n1000\nA"),
        std::string("P5\n1 1\n0\nA"), std::string("P5\n0 1\n255\n"),
        std::string("P5\n70000 1\n255\n"), std::string("P5\n65535 65535\n255\n"),
        std::string("P5\n2 2\n255\nABC"), std::string("P5\n2 2\n255"),
        std::string("P5\n-2 2\n255\nABCD"), std::string("P5\n2x 2\n255\nABCD"),
        std::string("P5\n99999999999999999999 2\n255\nABCD"), std::string("P6\n1 1\n255\nAB"),
        std::string("P7\nWIDTH 1\nHEIGHT 1\nMAXVAL 255\nENDHDR\nA"),
        std::string("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\nAAAAA"),
        std::string("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nCOLOR 1\nENDHDR\nA"),
        std::string("P7\nWIDTH 1 2\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nENDHDR\nA"),
        std::string("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\n"),
        std::string("P7 WIDTH 1\n")}) {
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
      "P5\n# c\n3 2\n255\nABCDEF",
      std::string("P6\n1 2\n65535\n\0\1\2\3\4\5\6\7\10\11\12\13", 25),
      "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nABCD"};
  const char replacements[] = {'\0', '\n', ' ', '#', '9', '0', '-', 'P', '\xff'};
  int read = 0;
  for (const std::string& file : valid) {
    write_file(file);
    EXPECT_TRUE(readable()) << file;
    for (size_t length = 0; length < file.size(); ++length) {
      write_file(file.substr(0, length));
      EXPECT_FALSE(readable()) << length;
    }
    for (size_t at = 0; at < file.size(); ++at) {
      for (char r : replacements) {
        std::string damaged = file;
        damaged[at] = r;
        write_file(damaged);
        read += readable();
      }
    }
  }
  EXPECT_GT(read, 0);
}

}  // namespace
