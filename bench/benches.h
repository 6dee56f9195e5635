// The groups of benchmarks. Their names are GROUP/OPERATION/SIZE/SIDE, which is what the report goes by.
#pragma once

#include "bench/measured_world.h"

// How time grows with the disks: this many enclosures, and disks in each.
constexpr UINT32 growingEnclosures = 16;
constexpr UINT32 growingSlots[] = {8, 15, 30, 60, 120, 250};

void addXmlBenches();
void addOperationBenches();
void addGrowthBenches();
void addChangeBenches();
void addTogetherBenches();
