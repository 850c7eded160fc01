// Globals.cpp - storage of the statistics record and the version text.
#include "web/Globals.h"

Stats stats;

CFString_t version("(unknown version)");
