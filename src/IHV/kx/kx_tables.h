// What the fill, rescale and band-combine routines make of their parameters: the fill colour
// word, and fixed-point tables with 8 fraction bits (x 256, truncated toward zero) laid out
// as the transform kernels take them.
#ifndef KX_TABLES_H
#define KX_TABLES_H

#include <cstdint>

// SetValue8's foreground word: each band's float plus 0.5, truncated, limited to 0..255; one
// band in all four bytes, four bands in bytes 0..3, three bands in bytes 1..3 or, when band 0
// lies in byte `lane` 0, in bytes 0..2 (the lowest address is the top byte).
uint32_t zelkx_fill_colour(const float* values, unsigned bands, unsigned lane);

// *out = value x 256 in double precision, truncated toward zero, saturated to 32 bits (NaN
// gives 0). Returns false when value x 256 is NaN or beyond 32 bits, or, with `whole`, not a
// whole number: when *out is not the value itself (or, without `whole`, its truncation).
bool zelkx_fixed8(float value, bool whole, int32_t* out);

// Rescale8's table for 3 or 4 bands whose band 0 lies in byte `lane` of the 4-byte pixel.
// 3 bands in bytes 1..3 (sl_rect_trf24_32): 4 rows of 3, the scales on the diagonal, then
// the offsets. Otherwise (sl_rect_trf32_32): 5 rows of 4, band b's scale at row and column
// lane + b and its offset in entry lane + b of the last row; a byte outside the image keeps
// its value (scale 256, offset 0). Returns the number of entries, 12 or 20.
int zelkx_rescale_table(const int32_t* scales, const int32_t* offsets, unsigned bands,
                        unsigned lane, int32_t table[20]);

// BandCombine16's table from a kernel of 3 rows of 4 (three coefficients and an offset per
// destination band): the nine coefficients x 256 truncated, then the three offsets truncated
// without scaling. Returns true when the kernel reproduces the values exactly: every
// coefficient x 256 and every offset whole, and no partial sum of a 16-bit pixel's terms
// can leave 32 bits.
bool zelkx_band_combine_table(const float values[12], int32_t table[12]);

#endif
