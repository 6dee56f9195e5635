#include "host/report/report_markup.h"

#include "host/report/report_files.h"

namespace xyl::host::report {

void putSigns(std::string &page) {
  put(page, g_pageSigns);
}

void putSign(std::string &page, std::string_view style) {
  put(page, R"(<svg class="sign" aria-hidden="true" focusable="false"><use href="#sign-%"/></svg>)", {style});
}

void putStatus(std::string &page, const Status &status) {
  put(page, R"(<span class="status %">)", {status.style});
  putSign(page, status.style);
  put(page, "%</span>", {status.words});
}

void putBadge(std::string &page, const Model &model, size_t virtualDisk) {
  put(page, R"(<span class="badge hue%">%</span>)",
      {std::to_string(virtualDisk % 8), model.virtualDisks[virtualDisk].letter});
}

void putDiskLink(std::string &page, const Disk &disk) {
  put(page, R"(<a href="#s%">%</a>)", {disk.anchor, disk.place});
}

void putVirtualDiskLink(std::string &page, const Model &model, size_t virtualDisk) {
  const VirtualDisk &target = model.virtualDisks[virtualDisk];
  put(page, R"(<a href="#%">)", {target.anchor});
  putBadge(page, model, virtualDisk);
  put(page, " %</a> ", {virtualDiskTitle(target)});
}

} // namespace xyl::host::report
