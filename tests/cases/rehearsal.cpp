// rehearsal.cpp: reads what a rehearsal tells.
#include "cases/rehearsal.h"

#include <algorithm>
#include <sstream>

namespace cases {

const std::string assumed_job = "999999";

namespace {

const std::string next_line = "\r\n    ";  // of what is told

// Tools that only tell something.
const texts questions = {"smpd.exe -status", "-validate",        "-pwcheck",
                         "-version",         "cluscfg listenvs", "job view"};

bool holds(const std::string &text, const std::string &piece) {
  return text.find(piece) != std::string::npos;
}

bool holds_one(const std::string &text, const texts &pieces) {
  return std::any_of(pieces.begin(), pieces.end(),
                     [&](const std::string &piece) { return holds(text, piece); });
}

// ---- What was told ------------------------------------------------------------------------

struct told_step {
  std::string text;     // behind "not done: " and the like
  std::string assumed;  // what was taken for its outcome
};

struct told_run {
  std::vector<told_step> steps;
  texts unknown;        // what only the real run shows
  std::string command;  // of the launch
  std::string pieces;   // put together
};

// The text behind a beginning, up to an ending; empty when the text begins otherwise.
std::string between(const std::string &text, const std::string &beginning,
                    const std::string &ending) {
  const auto start = text.find(beginning);
  if (start != 0) {
    return "";
  }
  return text.substr(beginning.size(), text.find(ending, beginning.size()) - beginning.size());
}

std::string put_together(const std::string &told) {
  std::string command;
  const std::string piece = next_line + "|";
  for (std::size_t at = 0; (at = told.find(piece, at)) != std::string::npos;) {
    at += piece.size();
    command += told.substr(at, told.find("|  ", at) - at);
  }
  return command;
}

void read_told(told_run &run, const std::string &told) {
  const std::string outcome = next_line + "taken for its outcome: ";
  const std::string origin = next_line + "and where its pieces come from";
  for (const char *left_out : {"not done: ", "not asked: ", "not written: ", "not shown: "}) {
    if (told.starts_with(left_out)) {
      const auto end = told.rfind(outcome);
      run.steps.push_back(
          {told.substr(std::string(left_out).size(), end - std::string(left_out).size()),
           told.substr(std::min(told.size(), end + outcome.size()))});
    }
  }
  if (told.starts_with("only the real run shows ")) {
    run.unknown.push_back(told);
  }
  if (told.starts_with("the launch command")) {
    run.command = between(told, "the launch command" + next_line, origin);
    run.pieces = put_together(told.substr(told.rfind(origin)));
  }
}

// Each text that is told ends before a line that is not set in.
told_run read_output(const std::string &output) {
  told_run run;
  const std::string beginning = "\r\nRehearsal: ";
  for (auto at = output.find(beginning); at != std::string::npos;) {
    at += beginning.size();
    auto end = output.find("\r\n", at);
    while (end != std::string::npos && output.compare(end, next_line.size(), next_line) == 0) {
      end = output.find("\r\n", end + 2);
    }
    read_told(run, output.substr(at, end - at));
    at = output.find(beginning, std::min(end, output.size()));
  }
  return run;
}

// The number of the job that the real run made; the assumed one when it made none.
std::string number_of_job(const seen &real) {
  for (const char *before : {"Created job, ID: ", "Job queued, ID: "}) {
    const auto at = real.output.find(before);
    if (at != std::string::npos) {
      const auto start = at + std::string(before).size();
      return real.output.substr(start, real.output.find_first_not_of("0123456789", start) - start);
    }
  }
  return assumed_job;
}

// ---- The two runs -------------------------------------------------------------------------

texts commands_of(const seen &real) {
  texts commands = real.asks;
  commands.insert(commands.end(), real.starts.begin(), real.starts.end());
  return commands;
}

bool is_among(const std::string &text, const texts &list) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

// Whether the real run could not start the command, and said so. A long one keeps the
// blanks in front of it.
bool could_not_start(const seen &real, const std::string &command) {
  const auto says_it = [&](const std::string &text, const char *line_end) {
    return holds(text, "Unable to execute (null) ") && holds(text, " " + command + line_end);
  };
  return says_it(real.output, "\r\n") ||
         std::any_of(real.boxes.begin(), real.boxes.end(),
                     [&](const box &one) { return says_it(one.text, "\n"); });
}

// Whether it said that only the real run shows what this command tells.
bool is_unknown(const std::string &command, const told_run &told) {
  return std::any_of(told.unknown.begin(), told.unknown.end(), [&](const std::string &what) {
    return holds(command, holds(what, "password") ? " -validate" : " view ") &&
           holds_one(what, {"password", "the job"});
  });
}

// ---- The world that was assumed -----------------------------------------------------------

bool fits(const tool &one, const std::string &command, const std::string &world) {
  return calls(command, one, world) && holds(command, split_command(one.command, world).piece);
}

// The row's tool for a command alone: its program, and the word behind that.
tool tool_for(const launch_case &row, const std::string &command) {
  const auto ending = command.find(".exe");
  const auto program_end = command.find(' ', ending == std::string::npos ? 0 : ending);
  const auto word = std::min(command.find_first_not_of(' ', program_end), command.size());
  const auto piece = " " + command.substr(word, command.find(' ', word) - word);
  tool found = {command.substr(0, program_end) + ".exe"};
  for (const tool &one : row.tools) {
    const auto program = one.command.substr(0, one.command.find(".exe") + 4);
    if (fits(one, command, row.world)) {
      found = one;
      break;
    }
    if (fits({program}, command, row.world)) {
      found.command = program;
    }
  }
  found.command = found.command.substr(0, found.command.find(".exe") + 4) + piece;
  return found;
}

// The tool as it was assumed to answer.
tool assumed_tool(tool one, const std::string &assumed) {
  const bool is_quiet =
      assumed == "success" || assumed == "started" || assumed == "the task was taken";
  one.prints = is_quiet ? "" : assumed + "\n";
  one.status = 0;
  one.stays = false;
  one.times = holds(assumed, "State :") ? 1 : 0;
  return one;
}

}  // namespace

launch_case as_rehearsal(launch_case row) {
  row.variables.push_back({"ZEPHON_REHEARSAL", "1"});
  row.then.boxes.clear();
  return row;
}

std::string faults_of_rehearsal(const seen &rehearsed) {
  std::ostringstream faults;
  for (const std::string &command : rehearsed.starts) {
    faults << "it starts: " << command << "\n";
  }
  for (const std::string &command : rehearsed.asks) {
    if (!holds_one(command, questions)) {
      faults << "it runs: " << command << "\n";
    }
  }
  for (const auto &[path, text] : rehearsed.files) {
    faults << "it leaves: " << path << "\n";
  }
  for (const box &one : rehearsed.boxes) {
    faults << "it shows: " << one.text << "\n";
  }
  const told_run told = read_output(rehearsed.output);
  if (told.command != told.pieces) {
    faults << "the pieces of " << told.command << "\n  are " << told.pieces << "\n";
  }
  return faults.str();
}

std::string rehearsal_differences(const seen &real, const seen &rehearsed) {
  std::ostringstream faults;
  const told_run told = read_output(rehearsed.output);
  const texts commands = commands_of(real);
  const auto as_real = [job = number_of_job(real)](const std::string &text) {
    return replaced(replaced(text, assumed_job, job), next_line, "\n");
  };
  texts gone_through = rehearsed.asks;
  for (const told_step &step : told.steps) {
    gone_through.push_back(as_real(step.text));
    if (real.programs_in_quotes) {
      gone_through.push_back(with_program_in_quotes(gone_through.back()));
    }
  }
  for (const std::string &command : commands) {
    if (!is_among(command, gone_through) && !is_unknown(command, told)) {
      faults << "it does not tell: " << command << "\n";
    }
  }
  const std::string command = as_real(told.command);
  if (!command.empty() && !could_not_start(real, command) && !is_among(command, commands) &&
      !(real.programs_in_quotes && is_among(with_program_in_quotes(command), commands))) {
    faults << "the real run does not launch: " << command << "\n";
  }
  if (rehearsed.status != real.status) {
    faults << "it ends with " << rehearsed.status << ", the real run with " << real.status << "\n";
  }
  return faults.str();
}

launch_case as_assumed(launch_case row, const seen &rehearsed) {
  const told_run told = read_output(rehearsed.output);
  std::vector<tool> tools;
  row.then.boxes.clear();
  for (const told_step &step : told.steps) {
    if (step.assumed == "Yes" || step.assumed == "OK") {
      row.then.boxes.push_back(
          {replaced(step.text, next_line, "\n"), step.assumed == "Yes" ? yes : ok});
    } else {
      tools.push_back(assumed_tool(tool_for(row, step.text), step.assumed));
    }
  }
  for (const std::string &asked : rehearsed.asks) {
    if (holds_one(asked, {"-validate", "-pwcheck"})) {
      tool wrong = tool_for(row, asked);
      tool right = wrong;
      wrong.times = 1;
      right.prints = holds(asked, "-validate") ? "SUCCESS\n" : "Cached password is valid\n";
      tools.insert(tools.end(), {wrong, right});
    }
  }
  for (const told_step &step : told.steps) {
    if (step.assumed.starts_with("State :")) {
      tools.push_back(assumed_tool(tool_for(row, step.text), "State : Finished"));
      tools.back().times = 0;
    }
  }
  row.tools.insert(row.tools.begin(), tools.begin(), tools.end());
  return row;
}

}  // namespace cases
