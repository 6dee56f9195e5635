// The files beside this one that go into every page, whole.
#pragma once

namespace xyl::host::report {

// page.css: light colours hold for paper too, the dark ones are for screens only. Every pair of text and background
// that is used has a contrast of at least 4.5.
extern const char *const g_pageStyle;

// signs.svg: a sign for each status, so that nothing depends on colours.
extern const char *const g_pageSigns;

} // namespace xyl::host::report
