// The processor's 32-bit alias space (docs/kx-isa.md 1.3): 4096-byte pages, each unmapped or
// aliasing 4096 bytes of host memory.
//
// Lookups go through a flat table of 2^20 page pointers, so finding the host byte behind an
// alias address is one index. Mappings are placed by first fit from a rotating cursor over
// the reserved ranges, each followed by an unmapped guard page; freed ranges are reused, so
// creating and destroying images forever never exhausts the 32-bit space.
#ifndef KX_MODEL_ALIAS_SPACE_H
#define KX_MODEL_ALIAS_SPACE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace kxm::detail {

class AliasSpace {
 public:
  static constexpr uint32_t kPageShift = 12;
  static constexpr uint32_t kPageSize = 1u << kPageShift;
  // Mappings live in [0x10000000, 0xF0000000): page 0 is never mapped and the top of the
  // space stays free.
  static constexpr uint32_t kFirstPage = 0x10000000u >> kPageShift;
  static constexpr uint32_t kEndPage = 0xF0000000u >> kPageShift;

  AliasSpace();

  // The host page behind an alias address, or nullptr when its page is unmapped.
  uint8_t* page(uint32_t alias) const { return pages_[alias >> kPageShift]; }

  // Aliases `length` bytes (rounded up to whole pages) of host memory starting at the
  // page-aligned `host`. Returns the alias address, or nothing when no range is free.
  std::optional<uint32_t> map(uint8_t* host, size_t length);
  // Removes the alias pages in [alias, alias + length); a mapping without pages is gone.
  void unmap(uint32_t alias, size_t length);
  // Whether `alias` lies in the pages of a live mapping (mapped or already removed).
  bool in_mapping(uint32_t alias) const;

  uint32_t alias_of(const void* host) const;  // 0 when no mapping covers it
  int mappings() const { return int(ranges_.size()); }

 private:
  struct Range {
    uint32_t pages;  // reserved pages, not counting the guard page after them
    uint32_t live;   // pages still mapped
    uint8_t* host;
  };
  using Ranges = std::map<uint32_t, Range>;  // by first page

  std::optional<uint32_t> find_gap(uint32_t from, uint32_t need) const;
  Ranges::const_iterator range_of(uint32_t page) const;

  std::vector<uint8_t*> pages_;
  Ranges ranges_;
  uint32_t cursor_ = kFirstPage;
};

}  // namespace kxm::detail

#endif
