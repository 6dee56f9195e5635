#include "host/report/report_markup.h"

// A sign for each status, so that nothing depends on colours.
static constexpr const char *SIGNS = R"svg(<svg class="signs" aria-hidden="true" focusable="false">
<symbol id="sign-online" viewBox="0 0 10 10"><circle cx="5" cy="5" r="4.5"/></symbol>
<symbol id="sign-ready" viewBox="0 0 10 10"><path d="M5 .5a4.5 4.5 0 1 0 0 9 4.5 4.5 0 0 0 0-9zM5 2a3 3 0 1 1 0 6 3 3 0 0 1 0-6z"/></symbol>
<symbol id="sign-spare" viewBox="0 0 10 10"><path d="M5 0l1.5 3.3 3.5.4-2.6 2.4.7 3.5L5 7.9 1.9 9.6l.7-3.5L0 3.7l3.5-.4z"/></symbol>
<symbol id="sign-degraded" viewBox="0 0 10 10"><path d="M5 .5l5 9H0z"/></symbol>
<symbol id="sign-failed" viewBox="0 0 10 10"><path d="M1.8.4L5 3.6 8.2.4l1.4 1.4L6.4 5l3.2 3.2-1.4 1.4L5 6.4 1.8 9.6.4 8.2 3.6 5 .4 1.8z"/></symbol>
<symbol id="sign-foreign" viewBox="0 0 10 10"><path d="M5 0l5 5-5 5-5-5z"/></symbol>
<symbol id="sign-offline" viewBox="0 0 10 10"><path d="M1 1h8v8H1z"/></symbol>
<symbol id="sign-unknown" viewBox="0 0 10 10"><path d="M1 4h8v2H1z"/></symbol>
</svg>
)svg";

void putSigns(std::string &page) {
  put(page, SIGNS);
}

void putSign(std::string &page, std::string_view style) {
  put(page, R"(<svg class="sign" aria-hidden="true" focusable="false"><use href="#sign-%"/></svg>)", {style});
}

void putStatus(std::string &page, const REPORT_STATUS &status) {
  put(page, R"(<span class="status %">)", {status.style});
  putSign(page, status.style);
  put(page, "%</span>", {status.words});
}

void putBadge(std::string &page, const REPORT_MODEL &model, size_t volume) {
  put(page, R"(<span class="badge hue%">%</span>)", {std::to_string(volume % 8), model.volumes[volume].letter});
}

void putDiskLink(std::string &page, const REPORT_DISK &disk) {
  put(page, R"(<a href="#s%">%</a>)", {disk.anchor, disk.place});
}

void putVolumeLink(std::string &page, const REPORT_MODEL &model, size_t volume) {
  const REPORT_VOLUME &target = model.volumes[volume];
  put(page, R"(<a href="#%">)", {target.anchor});
  putBadge(page, model, volume);
  put(page, " %</a> ", {volumeTitle(target)});
}
