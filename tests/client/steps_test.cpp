// Stories of the host program, the files *.steps below this folder and the host's. A line is a step as Client::expect
// takes it, in which \n stands for a line feed that is printed; but "new PRESET" begins anew with that controller,
// NAME=VALUE is a variable of the steps behind it, # begins a comment, and what begins with four spaces belongs to the
// line before it.
#include "tests/client/client.h"

static std::vector<std::string> storiesThere() {
  std::vector<std::string> stories;
  for (const char *folder : {"/tests/client", "/tests/host"}) {
    for (const auto &entry : std::filesystem::recursive_directory_iterator(sourceDir() + folder)) {
      entry.path().extension() == ".steps" ? stories.push_back(entry.path()) : void();
    }
  }
  std::sort(stories.begin(), stories.end());
  return stories;
}

static std::vector<std::string> linesOf(const std::string &story) {
  std::ifstream file(story);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("    ")) {
      lines.back() += line.substr(4);
    } else if (!line.empty() && line[0] != '#') {
      lines.push_back(line);
    }
  }
  return lines;
}

class Story : public testing::TestWithParam<std::string> {};

TEST_P(Story, IsToldStepByStep) {
  std::unique_ptr<Client> client;
  for (std::string line : linesOf(GetParam())) {
    size_t space = line.find(' '), equal = line.find('=');
    if (line.starts_with("new ")) {
      client = std::make_unique<Client>(line.substr(4));
    } else if (equal < space) {
      client->set(line.substr(0, equal), line.substr(equal + 1));
    } else {
      size_t arrow = line.find(" => ");
      for (size_t at = arrow; (at = line.find("\\n", at)) != std::string::npos;) {
        line.replace(at, 2, "\n");
      }
      client->expect({line});
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Xyl, Story, testing::ValuesIn(storiesThere()),
                         [](const auto &story) { return std::filesystem::path(story.param).stem().string(); });
