// SPDX-License-Identifier: Apache-2.0
// A driver that only shows what it finds: KIND FILE.
#include "bench/speed/driver.h"

int main(int argc, char** argv) { return runDriver(argc, argv, printFound); }
