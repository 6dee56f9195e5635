// The manual page and the shell completion, both made from the tables of commands and options.
#pragma once

#include "client/command_line/command_line.h"

// The commands: they write the page (for man) or the script (for bash) to the standard output.
XYL_RESULT runMan(const XYL_CONTEXT &context);
XYL_RESULT runCompletion(const XYL_CONTEXT &context);
