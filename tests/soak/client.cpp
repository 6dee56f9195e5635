#include "tests/soak/client.h"

#include <sstream>

XYL_OUTCOME SoakClient::run(const std::string &line) {
  XYL_FRONT front = as(XYL_FRONT_SHELL, g_xylCommands);
  front.SystemTable = world_.firmware.systemTable();
  front.AskYes = [](auto *, const CHAR8 *) { return XYL_ANSWER_YES; };
  std::istringstream stream(line);
  std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
  std::vector<const CHAR8 *> arguments;
  for (const std::string &word : words) {
    arguments.push_back(word.c_str());
  }
  XYL_REQUEST request;
  XYL_RESULT result = xylParse(&front, arguments.size(), arguments.data(), &request);
  return isFailure(result) ? result.Outcome : xylRun(&front, request).Outcome;
}

std::string SoakClient::fill(const std::string &line, RANDOM &random, const IDS &disks, const IDS &virtualDisks) {
  std::string filled;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '%') {
      filled += line[i];
      continue;
    }
    char mark = line[++i];
    const IDS &ids = mark == 'D' ? disks : virtualDisks;
    filled += mark == 'L'   ? random.oneOf<std::string>({"0", "1", "5", "6", "10"})
              : mark == 'N' ? "v" + std::to_string(random.below(100000))
              : ids.empty() ? "7777"
                            : std::to_string(random.oneOf(ids));
  }
  return filled;
}
