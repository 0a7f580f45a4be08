// The device context: aliases, bounds, context registers and the save stack.
#include "sl_ctx.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "kx_test_support.h"

namespace {

class Context : public ::testing::Test {
 protected:
  void SetUp() override { kxm::configure({}); }
  void TearDown() override { kxm::configure({}); }
};

TEST_F(Context, AliasOfAByteInsideAPageMapsThatPageOnly) {
  void* memory = std::aligned_alloc(4096, 3 * 4096);
  auto* host = static_cast<uint8_t*>(memory);
  const int mappings = kxm::alias_mappings();
  const uint32_t alias = sl_ctx_spamify(host + 0x123, 16);
  ASSERT_NE(alias, SL_ALIAS_FAILED);
  EXPECT_EQ(alias & 0xFFF, 0x123u);
  EXPECT_EQ(kxm::host_of(alias), host + 0x123);
  EXPECT_EQ(kxm::host_of((alias & ~0xFFFu) + 0x1000), nullptr) << "one page only";
  EXPECT_EQ(kxm::alias_mappings(), mappings + 1);
  EXPECT_EQ(sl_ctx_unspamify(alias, 16), 0);
  EXPECT_EQ(kxm::alias_mappings(), mappings);

  const uint32_t straddling = sl_ctx_spamify(host + 0xFF0, 32);
  EXPECT_EQ(kxm::host_of(straddling + 31), host + 0xFF0 + 31) << "two pages";
  EXPECT_EQ(sl_ctx_unspamify(straddling, 32), 0);
  std::free(memory);
}

TEST_F(Context, RefusalsByTheDeviceAreFailures) {
  kxm::Config config;
  config.processor = false;
  kxm::configure(config);
  char byte = 0;
  errno = 0;
  EXPECT_EQ(sl_ctx_spamify(&byte, 1), SL_ALIAS_FAILED) << "no processor";
  EXPECT_EQ(errno, EINVAL);
  config = {};
  config.alias_maps = false;
  kxm::configure(config);
  EXPECT_EQ(sl_ctx_spamify(&byte, 1), SL_ALIAS_FAILED) << "a refused mapping";
  config = {};
  config.bounds_request = false;
  kxm::configure(config);
  EXPECT_EQ(sl_ctx_bounds_set(0x10000000, 3 * 4096), -1) << "a refused bounds request";
}

TEST_F(Context, BoundsDropAPageAtEachEndAndSkipTheDeviceBelowOnePage) {
  const int requests = kxm::bounds().requests;
  EXPECT_EQ(sl_ctx_bounds_set(0x10000000, 4096), 0);
  uint32_t low, length;
  sl_ctx_bounds_get(&low, &length);
  EXPECT_EQ(low, 0x10001000u);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(kxm::bounds().requests, requests);

  EXPECT_EQ(sl_ctx_bounds_set(0x10000000, 2 * 4096), 0);
  sl_ctx_bounds_get(&low, &length);
  EXPECT_EQ(length, 4096u);
  EXPECT_EQ(kxm::bounds().requests, requests + 1);
  EXPECT_EQ(kxm::bounds().low, 0x10001000u);
}

TEST_F(Context, PushWritesSixWordsInOrderAndPopRestoresThem) {
  sl_ctx_rasterop_set(0x66);
  sl_ctx_planemask_set(0x00FFFFFF);
  sl_ctx_foreground_set(9);
  sl_ctx_background_set(8);
  sl_ctx_bounds_set(0x20000000, 3 * 4096);
  uint32_t stack[8] = {};
  uint32_t* cursor = stack;
  sl_ctx_push(0, &cursor);
  EXPECT_EQ(cursor, stack);
  sl_ctx_push(0x1F, &cursor);
  EXPECT_EQ(cursor, stack + 6);
  EXPECT_EQ(std::vector<uint32_t>(stack, stack + 6),
            (std::vector<uint32_t>{0x66, 0x00FFFFFF, 9, 8, 0x20001000, 2 * 4096}));

  sl_ctx_rasterop_set(0xCC);
  sl_ctx_planemask_set(0xFFFFFFFF);
  sl_ctx_foreground_set(0);
  sl_ctx_background_set(0);
  sl_ctx_bounds_set(0, 0);
  sl_ctx_pop(0x1F, &cursor);
  EXPECT_EQ(cursor, stack);
  uint32_t again[6];
  cursor = again;
  sl_ctx_push(0x1F, &cursor);
  EXPECT_EQ(std::vector<uint32_t>(again, again + 6), std::vector<uint32_t>(stack, stack + 6));
  EXPECT_EQ(kxm::bounds().low, 0x20001000u) << "the restored pair is handed to the device";
}

TEST_F(Context, SettersWaitForTheProcessorBeforeChangingWhatWordsInFlightUse) {
  kxm::Config config;
  config.deferred = true;
  kxm::configure(config);
  kxtest::AliasedBuffer buffer(1);
  kx_ctx_t* ctx = kx_ctx_get();
  kx_ctx_store32(ctx, SL_CTX_QUEUE, 0xB1E00509);  // held until the processor is asked
  EXPECT_GT(kxm::pending(), 0u);
  sl_ctx_planemask_set(0x00FFFFFF);
  sl_ctx_rasterop_set(0x88);
  EXPECT_EQ(kxm::pending(), 0u);
  EXPECT_EQ(kxm::faults().size(), 0u);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
}

TEST_F(Context, WriteOccurredReadsAsItsBitAndClears) {
  kxtest::AliasedBuffer buffer(1);
  sl_ctx_write_occurred_clear();
  EXPECT_EQ(sl_ctx_write_occurred_get(), 0u);
  kx_alias_store32(buffer.alias(), 0x80080000);  // store one byte from r0
  EXPECT_EQ(sl_ctx_write_occurred_get(), SL_STATUS_WRITE_OCCURRED);
  sl_ctx_write_occurred_clear();
  EXPECT_EQ(sl_ctx_write_occurred_get(), 0u);
}

}  // namespace
