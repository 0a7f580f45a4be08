// The host's software operations that live outside zel_software.cpp, one function per
// operation; zel_software.cpp lists them in the operation table.
#ifndef ZEL_SOFTWARE_H
#define ZEL_SOFTWARE_H

#include "zel.h"

// Copies, fills, rescale, band combine, thresholds and extrema (zel_software_copy.cpp).
int zel_software_copy8(ZelOp* op);
int zel_software_copy16(ZelOp* op);
int zel_software_setvalue8(ZelOp* op);
int zel_software_convert8to16(ZelOp* op);
int zel_software_rescale8(ZelOp* op);
int zel_software_rescale16(ZelOp* op);
int zel_software_band_combine16(ZelOp* op);
int zel_software_threshold8(ZelOp* op);
int zel_software_threshold16(ZelOp* op);
int zel_software_extrema8(ZelOp* op);
int zel_software_extrema16(ZelOp* op);

// Constant, bitwise and scaled operations (zel_software_constant.cpp).
int zel_software_addconst8(ZelOp* op);
int zel_software_addconst16(ZelOp* op);
int zel_software_subtractconst8(ZelOp* op);
int zel_software_subtractconst16(ZelOp* op);
int zel_software_subtractfromconst8(ZelOp* op);
int zel_software_subtractfromconst16(ZelOp* op);
int zel_software_multiplyconst8(ZelOp* op);
int zel_software_multiplyconst16(ZelOp* op);
int zel_software_divideconst8(ZelOp* op);
int zel_software_divideconst16(ZelOp* op);
int zel_software_and8(ZelOp* op);
int zel_software_and16(ZelOp* op);
int zel_software_andconst8(ZelOp* op);
int zel_software_andconst16(ZelOp* op);
int zel_software_or8(ZelOp* op);
int zel_software_or16(ZelOp* op);
int zel_software_orconst8(ZelOp* op);
int zel_software_orconst16(ZelOp* op);
int zel_software_xor8(ZelOp* op);
int zel_software_xor16(ZelOp* op);
int zel_software_xorconst8(ZelOp* op);
int zel_software_xorconst16(ZelOp* op);
int zel_software_not8(ZelOp* op);
int zel_software_not16(ZelOp* op);

#endif
