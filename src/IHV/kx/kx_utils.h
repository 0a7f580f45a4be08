// Storage services: an image's KX storage record with its child position folded in, copies
// between ordinary and KX storage, and the checks of which parent/child arrangements the
// routines handle.
#ifndef KX_UTILS_H
#define KX_UTILS_H

#include <cstdint>

#include "ZelDeviceComputeTypeKX.h"
#include "zel.h"

// Records with the child's offsets folded in. A record from one of these lookups stays valid
// until its lookup has been called ten more times (each has a ring of ten records); an image
// that is not a child gets the host's own record.
__ZelKXStorage* getKXStorage(ZelImage* image);
__ZelKXStorage* getCKXStorage(ZelImage* image);
__ZelKXStorage* getKXStorageWithBands(ZelImage* image);  // the first band folded in too

// Copies between storage kinds, called by the host.
ZELKX_EXPORT void copyMemory2KX(__ZelKXStorage* kx, __ZelMemoryStorage* memory,
                                ZelImage* image);
ZELKX_EXPORT void copyKX2Memory(__ZelKXStorage* kx, __ZelMemoryStorage* memory,
                                ZelImage* image);
ZELKX_EXPORT void copyKX2Ckx(__ZelKXStorage* kx, __ZelKXStorage* ckx, ZelImage* image);

// Widens packed 3-byte pixels to 4-byte pixels (bands in bytes 1..3); returns the 0, 1 or 2
// source bytes left over.
int three_to_four(const unsigned char* source, unsigned char* destination, int bytes);

// 0 when every given image's arrangement can be handled, 2 otherwise (a may not be null).
int zelkx_check_child_8(ZelImage* a, ZelImage* b, ZelImage* c, ZelImage* d);
int zelkx_check_child_16(ZelImage* a, ZelImage* b, ZelImage* c, ZelImage* d);
int zelspm_check_child(ZelImage* a, ZelImage* b, ZelImage* c);
int zelspm_check_child2(ZelImage* a, ZelImage* b);
int zelspm_check_child0(ZelImage* a);
// 1 when the first non-null image has a nonzero band offset, else 0.
int zelkx_has_child_offsets(ZelImage* a, ZelImage* b, ZelImage* c, ZelImage* d);

// Contiguous device memory for one routine call: `*size` bytes wanted, rounded up to whole
// pages and stored back at once (even when the call then fails). Returns the open descriptor
// of "/dev/kx_cmem", the allocation's handle, with the ordinary address in *memory (for the
// host to fill) and the alias in *alias (for kernels); -1 on failure, with every descriptor,
// mapping and alias made before the failing step undone. The ordinary mapping is recorded
// per descriptor, so that zelspm_free_cmem, given the alias, size and descriptor, can unmap
// it too.
int zelspm_get_cmem(unsigned char** memory, uint32_t* alias, int* size);
// Removes the alias, closes the descriptor and unmaps the memory; a failed unmapping prints
// "Could not munmap cmem" on standard output and is otherwise ignored.
void zelspm_free_cmem(uint32_t alias, int size, int descriptor);

// The byte of its 4-byte pixel that band 0 of a 3-band 8-bit image occupies: 1 (bands in
// bytes 1..3, the layout of 3-band images) or 0 (bands 0..2 of a 4-band parent).
unsigned zelkx_band_lane(ZelImage* image);

#endif
