// Parameters for an operation a program builds: the values an operation's parameters point
// at, kept by the caller for as long as the operation runs. Tools and tests fill one of
// these from the kind of parameters the operation takes (ZelOperationInfo::params).
#ifndef ZEL_PARAMS_H
#define ZEL_PARAMS_H

#include <cstdint>
#include <vector>

#include "zel.h"

struct ZelParamValues {
  float lists[2][4] = {};  // constants, the fill colour, or scales [0] and offsets [1]
  uint32_t bits[4] = {};   // bitwise constants
  float low = 0, high = 0, map = 0;
  float matrix[12] = {};                 // three rows of three coefficients and an offset
  float maxima[4] = {}, minima[4] = {};  // receive an extrema operation's results
  // A lookup: entries of table_bands values each (table.size() / table_bands entries),
  // entry 0 for source value table_offset.
  std::vector<int> table;
  unsigned table_bands = 1;
  int table_offset = 0;
  int from_space = 0, to_space = 0;  // colour-space opcodes
  // A brush of brush_width x brush_height weights (row by row) with its key point, the
  // colour in lists[0], and points as x, y pairs.
  int brush_width = 0, brush_height = 0, brush_key_x = 0, brush_key_y = 0;
  std::vector<float> brush;
  std::vector<float> points;
  long transpose = 0;     // a transpose type
  float amounts[2] = {};  // offsets or factors, horizontal then vertical
  float angle = 0;        // radians (rotations)
  // Convolution kernels (width x height values row by row, and the key point) with their
  // edge conditions (ZelEdgeCondition); a pair's row kernel (the inner operation's) is
  // kernels[0], its column kernel kernels[1].
  struct Kernel {
    int width = 0, height = 0, key_x = 0, key_y = 0;
    std::vector<float> values;
  };
  Kernel kernels[2];
  long edges[2] = {ZEL_EDGE_EXTEND, ZEL_EDGE_EXTEND};
};

// Points the operation's parameters at `values`, as `kind` says; an operation that takes a
// host object (the band-combine matrix, a lookup, colour spaces, kernels) gets one made
// here, released by zel_release_params. A pair's inner operation (made by createOp from the
// two-level path) reads the operation's first source. A lookup's entries take the type of the
// operation's destination (8-bit when it has none yet).
void zel_attach_params(ZelOp* op, ZelParams kind, ZelParamValues* values);
void zel_release_params(ZelOp* op, ZelParams kind);

// Ordinary values for an operation's parameters, for demonstrations and benchmarks; a
// lookup gets `table_bands` values an entry (set it first), colour conversion rgb709 to
// ycc601, a convolution a 3 x 3 sharpening kernel (a pair a 5-tap blur each way) with its
// edges extended.
void zel_example_params(const ZelOperationInfo& info, ZelParamValues* values);

#endif
