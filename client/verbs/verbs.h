// Daily work in words: each command writes a change document and has it applied.
#pragma once

#include "client/command_line/command_line.h"
#include "client/verbs/change_writer.h"

XYL_RESULT runImport(const XYL_CONTEXT &context);
XYL_RESULT runCreate(const XYL_CONTEXT &context);
XYL_RESULT runDelete(const XYL_CONTEXT &context);
XYL_RESULT runSpare(const XYL_CONTEXT &context);
XYL_RESULT runKeyLock(const XYL_CONTEXT &context);
XYL_RESULT runKeyRekey(const XYL_CONTEXT &context);
XYL_RESULT runKeyErase(const XYL_CONTEXT &context);
XYL_RESULT runSet(const XYL_CONTEXT &context);
// identify: with disks a verb.
XYL_RESULT runIdentifyOf(const XYL_CONTEXT &context);
