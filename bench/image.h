// The shipped images on the host: a PE32+ file put into memory as firmware does, so that what is measured is their
// code.
#pragma once

#include <string>

#include "host/firmware/firmware.h"

using namespace xyl;

// Where the images lie, with a slash at its end; empty: the measured code is that of the benchmarks' own build, which
// profilers can read.
extern std::string g_imageFolder;

// The entry point of that image, in memory of its own that stays until the program ends. A file that cannot be read
// ends the program.
host::ImageEntry imageEntry(const std::string &name);
