#include "alias_space.h"

#include <algorithm>
#include <iterator>

namespace kxm::detail {

AliasSpace::AliasSpace() : pages_(size_t{1} << (32 - kPageShift), nullptr) {}

std::optional<uint32_t> AliasSpace::map(uint8_t* host, size_t length) {
  const size_t pages = (length + kPageSize - 1) / kPageSize;
  if (pages == 0 || pages >= kEndPage - kFirstPage) return std::nullopt;
  // One more page than mapped: the guard page after the mapping stays unmapped.
  const uint32_t need = uint32_t(pages) + 1;
  std::optional<uint32_t> first = find_gap(cursor_, need);
  if (!first) first = find_gap(kFirstPage, need);
  if (!first) return std::nullopt;

  ranges_.emplace(*first, Range{uint32_t(pages), uint32_t(pages), host});
  for (uint32_t i = 0; i < pages; ++i) pages_[*first + i] = host + size_t{i} * kPageSize;
  cursor_ = *first + need;
  if (cursor_ >= kEndPage) cursor_ = kFirstPage;
  return *first << kPageShift;
}

// First fit at or after `from`: the lowest page p >= from such that [p, p + need) touches
// no reserved range or its guard page.
std::optional<uint32_t> AliasSpace::find_gap(uint32_t from, uint32_t need) const {
  uint32_t position = from;
  auto next = ranges_.upper_bound(position);
  if (next != ranges_.begin()) {
    const auto& [start, range] = *std::prev(next);
    position = std::max(position, start + range.pages + 1);
  }
  for (;; ++next) {
    const uint32_t limit = next == ranges_.end() ? kEndPage : next->first;
    if (limit >= position && limit - position >= need) return position;
    if (next == ranges_.end()) return std::nullopt;
    position = std::max(position, next->first + next->second.pages + 1);
  }
}

AliasSpace::Ranges::const_iterator AliasSpace::range_of(uint32_t page) const {
  auto next = ranges_.upper_bound(page);
  if (next == ranges_.begin()) return ranges_.end();
  auto candidate = std::prev(next);
  return page < candidate->first + candidate->second.pages ? candidate : ranges_.end();
}

bool AliasSpace::in_mapping(uint32_t alias) const {
  return range_of(alias >> kPageShift) != ranges_.end();
}

void AliasSpace::unmap(uint32_t alias, size_t length) {
  const uint64_t first = alias >> kPageShift;
  const uint64_t end =
      std::min<uint64_t>(first + (length + kPageSize - 1) / kPageSize, uint64_t{1} << 20);
  auto it = ranges_.upper_bound(uint32_t(first));
  if (it != ranges_.begin()) --it;
  while (it != ranges_.end() && it->first < end) {
    Range& range = it->second;
    const uint64_t lo = std::max<uint64_t>(first, it->first);
    const uint64_t hi = std::min<uint64_t>(end, uint64_t{it->first} + range.pages);
    for (uint64_t page = lo; page < hi; ++page) {
      if (pages_[page] == nullptr) continue;
      pages_[page] = nullptr;
      --range.live;
    }
    it = range.live == 0 ? ranges_.erase(it) : std::next(it);
  }
}

uint32_t AliasSpace::alias_of(const void* host) const {
  const uintptr_t byte = reinterpret_cast<uintptr_t>(host);
  for (const auto& [start, range] : ranges_) {
    const uintptr_t base = reinterpret_cast<uintptr_t>(range.host);
    if (byte < base || byte - base >= uintptr_t{range.pages} * kPageSize) continue;
    const size_t offset = size_t(byte - base);
    const uint32_t page = start + uint32_t(offset >> kPageShift);
    if (pages_[page] != nullptr) return (start << kPageShift) + uint32_t(offset);
  }
  return 0;
}

}  // namespace kxm::detail
