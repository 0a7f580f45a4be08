// The extrema routines: the per-band largest and smallest pixel of the first source over its
// own region, returned through the operation's pointer parameters 1 (maxima) and 2 (minima),
// either of which may be null.
#ifndef KX_EXTREMA_H
#define KX_EXTREMA_H

#include "zel.h"

struct ZelKXExtrema {
  const char* file;  // "Extrema8KX"
  int data_type;     // 1: 1, 3 or 4 bands; 2: 1 band
  int region_line;   // "di-6": the image has no region
  int list_line;     // "di-8": its region gives no rectangle list
};

int zelkx_extrema(ZelOp* op, const ZelKXExtrema& routine);

#endif
