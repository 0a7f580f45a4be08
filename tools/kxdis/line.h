// One line of kxdis's input, decoded.
#ifndef KXDIS_LINE_H
#define KXDIS_LINE_H

#include <string>

// A line of a bus trace (kxrun --trace) or a bare hexadecimal word: "mem ADDRESS VALUE" and
// "queue WORD" give the word decoded, "reg", "ctx" and "read" lines are passed through,
// empty lines and '#' comments give nothing. *out receives the text to print (without a
// newline; empty for nothing). False when the line is none of these.
bool kxdis_line(const std::string& line, std::string* out);

#endif
