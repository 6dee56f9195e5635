#include "host/medium/medium.h"

#include "client/jobs/jobs.h"
#include "host/common/common.h"

namespace xyl::host {

static void showJobs(const client::Front &front, const client::JobFile &jobs) {
  UINT32 limit = 0;
  for (UINT32 i = 0; i < jobs.lines.count; ++i) {
    const client::JobLine &line = jobs.lines.items[i];
    if (line.limit != limit) {
      client::say(&front, line.limit != 0 ? "Each line may take %d minutes.\n" : "Lines may take any time.\n",
                  line.limit);
      limit = line.limit;
    }
    client::say(&front, "%4d  %-10a  %a\n", line.number, client::g_jobConditions[line.condition],
                client::textOf(line.text));
  }
  const client::JobLine *others[] = {&jobs.source, &jobs.result};
  for (const client::JobLine *line : others) {
    if (line->wordCount != 0) {
      client::say(&front, "%4d  %-10a  %a\n", line->number,
                  line == &jobs.source ? "before all:" : "after all:", client::textOf(line->text));
    }
  }
  if (jobs.isSecure) {
    client::say(&front, "Wants the server's certificate in %a.\n", client::jobs::certificateFile);
  }
  if (jobs.again) {
    client::say(&front, "Runs at every boot.\n");
  }
}

client::Result runJobs(const client::Context &context) {
  const client::Front &front = *context.front;
  const client::Request &request = *context.request;
  std::string content;
  EFI_STATUS status = readHostFile(request.operands[0], &content);
  if (EFI_ERROR(status)) {
    client::complain(&front, "cannot read '%a': %a", request.operands[0], client::statusWords(status));
    return status == EFI_NOT_FOUND ? client::notFound() : client::failed(status);
  }
  static constexpr client::JobName rows[] = {{"SERIAL", nullptr}, {"UUID", nullptr}}; // the machine will know
  client::JobFile jobs;
  client::Result result = client::readJobs(&front, content.data(), content.size(), {rows, 2}, &jobs);
  if (!client::isFailure(result)) {
    showJobs(front, jobs);
  }
  client::freeJobs(&jobs);
  return result;
}

} // namespace xyl::host
