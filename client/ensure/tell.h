// A judgement in words, and as JSON.
#pragma once

#include "client/ensure/judge.h"

namespace ensure {

// Prints the lines of a judgement, or only those of what is not yet as the layout says.
enum class Lines : UINT8 { all, open };
void sayJudgement(const XYL_FRONT *front, const RAID_CONFIG &config, const Judgement &judgement, Lines lines);

// Appends all lines.
void putJudgement(TEXT *text, const RAID_CONFIG &config, const Judgement &judgement);

// The member "plan" of an open object.
void writeJudgement(JSON *json, const RAID_CONFIG &config, const Judgement &judgement);

// The array of that name: the lines of what is not yet as the layout says.
void writeOpen(JSON *json, const CHAR8 *name, const RAID_CONFIG &config, const Judgement &judgement);

} // namespace ensure
