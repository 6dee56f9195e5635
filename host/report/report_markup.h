// Pieces of markup: the sign and the words of a status; the letter of a virtual disk; links.
#pragma once

#include "host/report/report_model.h"

namespace xyl::host::report {

// The outlines that putSign refers to; once a page.
void putSigns(std::string &page);
void putSign(std::string &page, std::string_view style);
void putStatus(std::string &page, const Status &status);
void putBadge(std::string &page, const Model &model, size_t virtualDisk);
void putDiskLink(std::string &page, const Disk &disk);
void putVirtualDiskLink(std::string &page, const Model &model, size_t virtualDisk);

} // namespace xyl::host::report
