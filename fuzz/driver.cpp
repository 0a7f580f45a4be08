// The seeded driver: a plain program around one fuzz target (fuzz.h).
//
//   fuzz_TARGET [CORPUS_DIR_OR_FILE...]
//
// Replays every file given (a directory: every file in it, in name order), then runs
// KX_FUZZ_RUNS (default 3000) inputs made by mutating them with a fixed seed (KX_FUZZ_SEED,
// default 1), so a run is the same every time. The target aborts on a violated invariant;
// the input it was running is then written to fuzz-failure-<run> in the working directory
// (replay it by naming the file).
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMaxInput = 4096;

// The input now running, for the abort handler.
const Bytes* current = nullptr;
long current_run = -1;

void on_abort(int) {
  if (current != nullptr) {
    char name[64];
    std::snprintf(name, sizeof name, "fuzz-failure-%ld", current_run);
    const int fd = ::open(name, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) {
      if (::write(fd, current->data(), current->size()) < 0) {
      }
      ::close(fd);
    }
    const char note[] = "fuzz driver: the failing input is in fuzz-failure-<run>\n";
    if (::write(2, note, sizeof note - 1) < 0) {
    }
  }
  std::signal(SIGABRT, SIG_DFL);
  std::raise(SIGABRT);
}

void run(const Bytes& input, long number) {
  current = &input;
  current_run = number;
  LLVMFuzzerTestOneInput(input.data(), input.size());
  current = nullptr;
}

// splitmix64: small, fast and the same everywhere.
struct Random {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  size_t below(size_t n) { return n == 0 ? 0 : size_t(next() % n); }
};

// Bytes that parsers and decoders treat specially.
constexpr uint8_t kInteresting[] = {0,   1,   7,   8,   0x7F, 0x80, 0xFF, '\n', '\r', ' ',
                                    '#', ',', '-', '0', '1',  '9',  'x',  'P',  0x10, 0x20};

Bytes mutate(const std::vector<Bytes>& seeds, Random& random) {
  Bytes out = seeds.empty() ? Bytes{} : seeds[random.below(seeds.size())];
  const size_t steps = 1 + random.below(8);
  for (size_t s = 0; s < steps; ++s) {
    const size_t at = random.below(out.size() + 1);
    switch (random.below(9)) {
      case 0:  // flip a bit
        if (!out.empty()) out[at % out.size()] ^= uint8_t(1u << random.below(8));
        break;
      case 1:  // a random byte
        if (!out.empty()) out[at % out.size()] = uint8_t(random.next());
        break;
      case 2:  // an interesting byte
        if (!out.empty())
          out[at % out.size()] = kInteresting[random.below(std::size(kInteresting))];
        break;
      case 3:  // insert bytes
        out.insert(out.begin() + long(at), 1 + random.below(4),
                   kInteresting[random.below(std::size(kInteresting))]);
        break;
      case 4: {  // remove a range
        const size_t length =
            std::min(out.size() - std::min(at, out.size()), 1 + random.below(8));
        out.erase(out.begin() + long(at), out.begin() + long(at + length));
        break;
      }
      case 5: {  // repeat a range
        if (out.empty()) break;
        const size_t from = random.below(out.size());
        const size_t length = std::min(out.size() - from, 1 + random.below(16));
        const Bytes piece(out.begin() + long(from), out.begin() + long(from + length));
        out.insert(out.begin() + long(at), piece.begin(), piece.end());
        break;
      }
      case 6: {  // splice in a piece of another seed
        if (seeds.empty()) break;
        const Bytes& other = seeds[random.below(seeds.size())];
        if (other.empty()) break;
        const size_t from = random.below(other.size());
        const size_t length = std::min(other.size() - from, 1 + random.below(32));
        out.insert(out.begin() + long(at), other.begin() + long(from),
                   other.begin() + long(from + length));
        break;
      }
      case 7:  // cut the end
        out.resize(at);
        break;
      case 8: {  // a random 32-bit value (words, addresses)
        if (out.size() < 4) break;
        const size_t where = random.below(out.size() - 3);
        const uint64_t value = random.next();
        for (int k = 0; k < 4; ++k) out[where + size_t(k)] = uint8_t(value >> (8 * k));
        break;
      }
    }
  }
  if (out.size() > kMaxInput) out.resize(kMaxInput);
  return out;
}

bool read_file(const std::filesystem::path& path, Bytes* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

unsigned long env_number(const char* name, unsigned long fallback) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 10);
  return *end == '\0' ? value : fallback;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGABRT, on_abort);
  std::vector<Bytes> seeds;
  for (int i = 1; i < argc; ++i) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    if (std::filesystem::is_directory(argv[i], error)) {
      for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
      std::sort(files.begin(), files.end());
    } else {
      files.push_back(argv[i]);
    }
    for (const auto& file : files) {
      Bytes bytes;
      if (!read_file(file, &bytes)) {
        std::fprintf(stderr, "fuzz driver: cannot read %s\n", file.c_str());
        return 1;
      }
      seeds.push_back(std::move(bytes));
    }
  }
  long number = 0;
  for (const Bytes& seed : seeds) run(seed, number++);
  const unsigned long runs = env_number("KX_FUZZ_RUNS", 3000);
  Random random{env_number("KX_FUZZ_SEED", 1)};
  for (unsigned long i = 0; i < runs; ++i) run(mutate(seeds, random), number++);
  std::printf("%s: %zu seeds replayed, %lu mutated inputs, no invariant violated\n", argv[0],
              seeds.size(), runs);
  return 0;
}
