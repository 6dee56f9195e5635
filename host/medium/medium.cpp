#include "host/medium/medium.h"

#include "client/jobs/jobs.h"
#include "host/common/common.h"

static void showJobs(const XYL_FRONT &front, const JOB_FILE &jobs) {
  UINT32 limit = 0;
  for (UINT32 i = 0; i < jobs.Lines.count; ++i) {
    const JOB_LINE &line = jobs.Lines.items[i];
    if (line.Limit != limit) {
      say(&front, line.Limit != 0 ? "Each line may take %d minutes.\n" : "Lines may take any time.\n", line.Limit);
      limit = line.Limit;
    }
    say(&front, "%4d  %-10a  %a\n", line.Number, g_jobConditions[line.Condition], textOf(line.Text));
  }
  const JOB_LINE *others[] = {&jobs.Source, &jobs.Result};
  for (const JOB_LINE *line : others) {
    if (line->WordCount != 0) {
      say(&front, "%4d  %-10a  %a\n", line->Number,
          line == &jobs.Source ? "before all:" : "after all:", textOf(line->Text));
    }
  }
  if (jobs.IsSecure) {
    say(&front, "Wants the server's certificate in %a.\n", jobs::certificateFile);
  }
  if (jobs.Again) {
    say(&front, "Runs at every boot.\n");
  }
}

XYL_RESULT runJobs(const XYL_CONTEXT &context) {
  const XYL_FRONT &front = *context.Front;
  const XYL_REQUEST &request = *context.Request;
  std::string content;
  EFI_STATUS status = readHostFile(request.Operands[0], &content);
  if (EFI_ERROR(status)) {
    complain(&front, "cannot read '%a': %a", request.Operands[0], statusWords(status));
    return status == EFI_NOT_FOUND ? notFound() : failed(status);
  }
  static constexpr JOB_NAME rows[] = {{"SERIAL", nullptr}, {"UUID", nullptr}}; // the machine will know
  JOB_FILE jobs;
  XYL_RESULT result = readJobs(&front, content.data(), content.size(), {rows, 2}, &jobs);
  if (!isFailure(result)) {
    showJobs(front, jobs);
  }
  freeJobs(&jobs);
  return result;
}
