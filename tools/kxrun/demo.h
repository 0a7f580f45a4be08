// The demonstration: every registered operation on the processor model and on the host.
#ifndef KXRUN_DEMO_H
#define KXRUN_DEMO_H

// Prints one row per registered operation; 0 when every device result is within the
// operation's tolerance and no fault occurred, else 1.
int run_demo();

#endif
