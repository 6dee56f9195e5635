// A judgement in words, and as JSON.
#pragma once

#include "client/ensure/judge.h"

namespace xyl::client::ensure {

// Prints the lines of a judgement, or only those of what is not yet as the layout says.
enum class Lines : UINT8 { all, open };
void sayJudgement(const Front *front, const RAID_CONFIG &config, const Judgement &judgement, Lines lines);

// Appends all lines.
void putJudgement(Text *text, const RAID_CONFIG &config, const Judgement &judgement);

// The member "plan" of an open object.
void writeJudgement(Json *json, const RAID_CONFIG &config, const Judgement &judgement);

// The array of that name: the lines of what is not yet as the layout says.
void writeOpen(Json *json, const CHAR8 *name, const RAID_CONFIG &config, const Judgement &judgement);

} // namespace xyl::client::ensure
