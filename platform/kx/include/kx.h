/* libkx: access to the KX pixel processor.
 *
 * On the workstation this is a closed library over the KX device driver; here it is the
 * stand-in that drives the processor model (kx_model.h). Kernels reach the processor only
 * through the bus accessors below: on hardware they are volatile stores and loads into the
 * mapped context block and the pixel-memory alias, here they are calls into the model.
 */
#ifndef KX_H
#define KX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The processor's context register block (opaque; reached only through the accessors). */
typedef struct kx_ctx kx_ctx_t;

/* Opens the processor for the caller; returns a handle, or -1 when no processor exists. */
int kx_open(void);
/* Closes a handle from kx_open. */
void kx_close(int handle);

/* libkx's own device context, opened on first use and independent of kx_open handles.
 * kx_ctx_get returns NULL and kx_fd_get a negative value when no processor exists. */
kx_ctx_t* kx_ctx_get(void);
int kx_fd_get(void);

/* Bus accessors. Offsets are byte offsets into the context block. */
void kx_ctx_store32(kx_ctx_t* ctx, uint32_t offset, uint32_t value);
/* A doubleword store: `first` lands at `offset`, `second` at `offset + 4`. */
void kx_ctx_store64(kx_ctx_t* ctx, uint32_t offset, uint32_t first, uint32_t second);
uint32_t kx_ctx_load32(kx_ctx_t* ctx, uint32_t offset);
/* A 32-bit store into the pixel-memory alias (the memory-reference issue path). */
void kx_alias_store32(uint32_t alias_address, uint32_t value);

/* Stand-in instrumentation with no hardware counterpart: the page-crossing routine reports
 * each split so that the model can count them. */
void kx_note_page_split(void);

#ifdef __cplusplus
}
#endif

#endif
