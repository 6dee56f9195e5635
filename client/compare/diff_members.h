// Lists of ids that count as sets.
#pragma once

#include "client/compare/diff_objects.h"

namespace xyl::client {

// Whether the ids in the elements of that name below two partners name the same objects. Where several fail together,
// in a span or a pair of mirrors, they count whatever their order: a virtual disk that is made anew has its members the
// other way round. Without memory it tells diff->Out.
bool sameIds(const Diff *diff, DifferenceObject kind, const DiffObject &oldObject, const CHAR8 *element);

} // namespace xyl::client
