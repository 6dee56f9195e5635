#include "tests/soak/client.h"

#include <sstream>

using namespace xyl;
using namespace xyl::client;

Outcome SoakClient::run(const std::string &line) {
  Front front = as(frontShell, g_xylCommands);
  front.systemTable = world_.firmware.systemTable();
  front.askYes = [](auto *, const CHAR8 *) { return Answer::yes; };
  std::istringstream stream(line);
  std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
  std::vector<const CHAR8 *> arguments;
  for (const std::string &word : words) {
    arguments.push_back(word.c_str());
  }
  Request request;
  Result result = xylParse(&front, arguments.size(), arguments.data(), &request);
  return isFailure(result) ? result.outcome : xylRun(&front, request).outcome;
}

std::string SoakClient::fill(const std::string &line, Random &random, const Ids &disks, const Ids &virtualDisks) {
  std::string filled;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '%') {
      filled += line[i];
      continue;
    }
    char mark = line[++i];
    const Ids &ids = mark == 'D' ? disks : virtualDisks;
    filled += mark == 'L'   ? random.oneOf<std::string>({"0", "1", "5", "6", "10"})
              : mark == 'N' ? "v" + std::to_string(random.below(100000))
              : ids.empty() ? "7777"
                            : std::to_string(random.oneOf(ids));
  }
  return filled;
}
