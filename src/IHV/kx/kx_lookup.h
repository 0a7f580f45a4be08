// The lookup routines: a one-band source mapped through a host lookup (pointer parameter 1)
// by the processor, which fetches the entries itself from a complete table in contiguous
// device memory: an entry for every possible source value, source value v taking host entry
// min(max(v - offset, 0), n - 1). The table is released before the routine returns.
#ifndef KX_LOOKUP_H
#define KX_LOOKUP_H

#include "kx_frame.h"

struct ZelKXLookup {
  const char* file;        // "Lookup8KX"
  int src_type, dst_type;  // 1 = 8-bit, 2 = 16-bit
  int table_bytes;         // asked of zelspm_get_cmem
  int list_line;           // "di-12", category 6, on the destination's state
  // Missing storage records: "di-9" (source) and "di-10" (destination), category 1, on the
  // destination's state or, with src_report_on_src, the source's for "di-9"; a line of 0
  // refuses silently. The record with the lower line is looked at first.
  int src_storage_line, dst_storage_line;
  bool src_report_on_src;
};

int zelkx_lookup(ZelOp* op, const ZelKXLookup& routine);

#endif
