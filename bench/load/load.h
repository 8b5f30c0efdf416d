// A mix of events at a rate, sent to the daemon and to a bare loop in turn, and the events that it
// is made of.
#ifndef VORLENT_BENCH_LOAD_H
#define VORLENT_BENCH_LOAD_H

#include <string>
#include <vector>

#include "support/air.h"

// Events of station 0 to 14, which the platform lists as candidates.
air::Bytes probe_of(int station);
air::Bytes operation_1000_of(int station);
// Encrypted with the key that the running base has just made, which serves as the unit's as well.
air::Bytes operation_1002_of(int station);

air::Bytes stranger_probe();
air::Bytes stranger_beacon();
air::Bytes forged_frame();

// Runs the mix for `seconds` each and prints what became of it, side by side.
void run_load(int seconds);

// Ends the detached daemons that were launched without a Receiver.
void kill_detached();

double quantile(std::vector<double> values, double share);
void print(const std::string& name, double value);

#endif
