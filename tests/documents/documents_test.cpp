// documents_test.cpp: the documents against the code, both ways: options, usage
// text, variables, exit statuses, messages, the commands of the MPIs, the rooms of
// the code and the links. Whoever changes the one is told to change the other.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "source_tree.h"

namespace {

using texts = std::set<std::string>;

// What stands in the one and not in the other, for a failure that says it.
texts without(const texts &some, const texts &others) {
  texts rest;
  std::set_difference(some.begin(), some.end(), others.begin(), others.end(),
                      std::inserter(rest, rest.end()));
  return rest;
}

bool matches(const std::string &text, const char *pattern) {
  return std::regex_search(text, std::regex(pattern));
}

// ---- Variables ----------------------------------------------------------------------------

// Words in capitals that are texts of other programs, not variables.
const texts no_variables = {"FAIL", "SUCCESS", "MPICH", "MPI_WORKDIR"};

struct variable_use {
  texts read;
  texts set;
};

// Every literal that looks like a variable counts as read, unless it is set there.
variable_use variables_of_code() {
  variable_use use;
  for (const auto &file : code_files()) {
    const std::string text = code_of(file);
    for (const auto &name : all_matches(text, R"re(\bset_environment\("([A-Z][A-Z0-9_]+)")re")) {
      use.set.insert(name);
    }
    for (const auto &name : all_matches(text, R"re("([A-Z][A-Z0-9_]+)=" \+)re")) {
      use.set.insert(name);
    }
    const std::string rest =
        std::regex_replace(text, std::regex(R"re(\bset_environment\("[A-Z0-9_]+")re"), "");
    for (const auto &name : all_matches(rest, R"re("([A-Z][A-Z0-9_]{2,})")re")) {
      if (!no_variables.contains(name)) {
        use.read.insert(name);
      }
    }
  }
  return use;
}

variable_use variables_of_document() {
  variable_use use;
  for (const auto &row : table_rows(document("docs/environment.md"), "Variable | Launcher |")) {
    const auto name = in_backticks(row.at(0)).at(0);
    const bool reads = matches(row.at(1), "\\breads\\b");
    const bool sets = matches(row.at(1), "\\bsets\\b");
    EXPECT_TRUE(reads || sets) << name;
    EXPECT_FALSE((reads && use.read.contains(name)) || (sets && use.set.contains(name)))
        << name << " stands there twice";
    if (reads) {
      use.read.insert(name);
    }
    if (sets) {
      use.set.insert(name);
    }
  }
  return use;
}

// ---- Messages -----------------------------------------------------------------------------

// What the launcher looks for in the output of other programs.
const texts texts_of_other_programs = {
    "Job queued, ID:",          "Created job, ID:", "Job has been submitted. ID:",
    "Allocated nodes",          "Error message",    "Cannot connect",
    "Cached password is valid", "smpd options",     "no smpd"};

// A title of a hidden window; nobody sees it.
const texts unseen_texts = {"INTEL MPI SMPD"};

bool is_piece_of_command(const std::string &literal) {
  return matches(literal, R"re(^ *[-/]|/scheduler:|^ ?cmd\.exe|\.exe|^ add$|CCP_NODES)re");
}

bool has_two_words(const std::string &text) {
  return matches(text, "[A-Za-z]{2}[!.,:]? [A-Za-z]{2}");
}

// The parts of a message between the values in it and the ends of its lines.
texts pieces_between(const std::string &text, const char *value) {
  texts pieces;
  const std::regex separator(value);
  for (std::sregex_token_iterator piece(text.begin(), text.end(), separator, -1), end; piece != end;
       ++piece) {
    if (matches(*piece, "[A-Za-z*-]")) {
      pieces.insert(*piece);
    }
  }
  return pieces;
}

texts pieces_of_literal(const std::string &literal) {
  return pieces_between(literal, R"re(%l?[sdu]|%\.2f|\n)re");
}

texts pieces_of_documents() {
  texts pieces;
  for (const auto &file : document_files()) {
    for (const auto &block : fenced_blocks(document(file), "message")) {
      const auto found = pieces_between(block, R"re(<[^>\n]*>|\(null\)|\n)re");
      pieces.insert(found.begin(), found.end());
    }
  }
  return pieces;
}

bool is_message(const std::string &literal) {
  return has_two_words(literal) && !is_piece_of_command(literal) &&
         !texts_of_other_programs.contains(literal) && !unseen_texts.contains(literal);
}

// ---- Rooms --------------------------------------------------------------------------------

struct room {
  std::string name;  // the folder below src/
  texts files;
  texts may_include;
};

// From the top to the ground.
std::vector<room> rooms_of_document() {
  std::vector<room> rooms;
  for (const auto &row :
       table_rows(document("docs/architecture.md"), "Room | Files | May include |")) {
    const auto files = in_backticks(row.at(1));
    const auto included = all_matches(row.at(2) + ",", "([a-z]+),");
    rooms.push_back({row.at(0), {files.begin(), files.end()}, {included.begin(), included.end()}});
  }
  return rooms;
}

// "src/core/text.cpp" -> "core"
std::string room_of(const std::string &file) {
  return file_stem(folder_of(file));
}

// The headers of this tree that a file includes: "core/text.h"
std::vector<std::string> includes_of(const std::string &file) {
  return all_matches(file_text(file), R"re(#include "([a-z]+/[a-z_0-9]+\.h)")re");
}

// Which headers a module's files include, its own left out: "core/messages" -> "core/text" ...
std::map<std::string, texts> modules_of_code() {
  std::map<std::string, texts> modules;
  for (const auto &file : code_files()) {
    const std::string module = room_of(file) + "/" + file_stem(file);
    texts &included = modules[module];
    for (const auto &header : includes_of(file)) {
      included.insert(header.substr(0, header.find('.')));
    }
    included.erase(module);
  }
  return modules;
}

// What is left when each module is taken away that includes none of the rest, or
// that none of the rest includes.
std::map<std::string, texts> circles_in(std::map<std::string, texts> modules) {
  for (std::size_t before = 0; before != modules.size();) {
    before = modules.size();
    texts included;
    for (auto &[module, headers] : modules) {
      std::erase_if(headers, [&](const auto &header) { return !modules.contains(header); });
      included.insert(headers.begin(), headers.end());
    }
    std::erase_if(modules, [&](const auto &module) {
      return module.second.empty() || !included.contains(module.first);
    });
  }
  return modules;
}

// ---- Links --------------------------------------------------------------------------------

// A heading's anchor as hosting services make it.
std::string anchor_of(const std::string &heading) {
  std::string anchor;
  for (const char letter : heading) {
    if (std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_' || letter == '-') {
      anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    } else if (letter == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

texts anchors_of(const std::string &text) {
  texts anchors;
  for (const auto &heading : all_matches(without_fenced_blocks(text), "(?:^|\n)#+ ([^\n]+)")) {
    EXPECT_TRUE(anchors.insert(anchor_of(heading)).second) << "two headings: " << heading;
  }
  return anchors;
}

}  // namespace

// ---- Options ------------------------------------------------------------------------------

TEST(OptionsDocument, HasTheOptionsOfTheCodeInTheirOrder) {
  std::vector<std::string> code;
  const std::regex branch(R"re(\b(is|begins)\("([^"]+)"\))re");
  const std::string parser = code_of("src/launch/options.cpp");
  for (std::sregex_iterator match(parser.begin(), parser.end(), branch), end; match != end;
       ++match) {
    code.push_back((*match)[2].str() + " " + ((*match)[1] == "is" ? "exact" : "prefix"));
  }

  std::vector<std::string> documented;
  for (const auto &row :
       table_rows(document("docs/options.md"), "# | Option | Match | Value | Effect |")) {
    EXPECT_EQ(std::to_string(documented.size() + 1), row.at(0));
    documented.push_back(in_backticks(row.at(1)).at(0) + " " +
                         row.at(2).substr(0, row.at(2).find(',')));
  }
  EXPECT_GT(code.size(), 20U);
  EXPECT_EQ(code, documented);
}

TEST(OptionsDocument, SaysWhichOptionsTakeTheNextArgument) {
  const std::string parser = code_of("src/launch/options.cpp");
  const std::regex branch(R"re(\b(?:is|begins)\("([^"]+)"\)\) \{([^{}]|\{[^{}]*\})*\})re");
  texts code;
  for (std::sregex_iterator match(parser.begin(), parser.end(), branch), end; match != end;
       ++match) {
    if (match->str().find("walk.take()") != std::string::npos) {
      code.insert((*match)[1]);
    }
  }
  texts documented;
  for (const auto &row :
       table_rows(document("docs/options.md"), "# | Option | Match | Value | Effect |")) {
    if (matches(row.at(2), "next")) {
      documented.insert(in_backticks(row.at(1)).at(0));
    }
  }
  EXPECT_GT(code.size(), 3U);
  EXPECT_EQ(code, documented);
}

TEST(OptionsDocument, SaysWhichVariablesTheOptionsSet) {
  const std::string parser = code_of("src/launch/options.cpp");
  texts code;
  for (const auto &name : all_matches(parser, R"re(set_environment\("([A-Z_0-9]+)")re")) {
    code.insert(name);
  }
  const std::string page = document("docs/options.md");
  for (const auto &name : code) {
    EXPECT_TRUE(matches(page, ("`" + name + "[=`]").c_str())) << name;
  }
}

TEST(OptionsDocument, ShowsTheUsageTextAsItIs) {
  std::string code;
  for (const auto &literal : literals(code_of("src/launch/mpirun.cpp"))) {
    if (literal.ends_with('\n')) {
      code += std::regex_replace(literal, std::regex("%s"), "<program>");
    }
  }
  const auto blocks = fenced_blocks(document("docs/options.md"), "usage");
  ASSERT_EQ(1U, blocks.size());
  EXPECT_EQ(code, blocks[0]);
}

TEST(OptionsDocument, HasTheNamesOfTheMpis) {
  const std::string selection = code_of("src/launch/backend_selection.cpp");
  texts code = {"net", "pcmpi"};  // no back-end, and another name of one
  for (const auto &name : all_matches(selection, R"re(name == "([a-z0-9]+)")re")) {
    code.insert(name);
  }
  texts documented;
  for (const auto &row : table_rows(document("docs/options.md"), "Value | MPI | Page |")) {
    for (const auto &name : in_backticks(row.at(0))) {
      documented.insert(name);
    }
  }
  EXPECT_EQ(code, documented);
}

// ---- zprun ---------------------------------------------------------------------------------

TEST(ZprunDocument, HasTheOptionsOfTheCodeAndOfItsHelp) {
  texts code;
  const std::string parser = code_of("src/front/typed_option.cpp");
  for (const auto &name : all_matches(parser, R"re(_option\{"([a-z_]+)",)re")) {
    code.insert("-" + name);
  }
  texts documented;
  for (const auto &row : table_rows(document("docs/zprun.md"), "Option | Value | Meaning |")) {
    documented.insert(in_backticks(row.at(0)).at(0));
  }
  EXPECT_GT(code.size(), 25U);
  EXPECT_EQ(code, documented);
  const std::string help = code_of("src/front/help.cpp");
  for (const auto &option : code) {
    EXPECT_TRUE(option == "-wait" || matches(help, ("[ ,]" + option + "[ =0-9,\\\\]").c_str()))
        << option;
  }
}

TEST(FindingsDocument, HasASectionForEachFinding) {
  texts code;
  for (const auto &file : code_files()) {
    if (room_of(file) == "front") {
      for (const auto &name : all_matches(code_of(file), R"re(add_\w+\(\w+,\s*"([a-z-]+)",)re")) {
        code.insert(name);
      }
    }
  }
  texts documented = anchors_of(document("docs/findings.md"));
  documented.erase("findings");
  EXPECT_GT(code.size(), 15U);
  EXPECT_EQ(code, documented);

  const std::string tests =
      file_text("tests/cases/zprun.cpp") + file_text("tests/unit/zprun_test.cpp");
  texts brought;
  for (const auto &name : all_matches(tests, R"re((?:fault|note)(?:\("| +)([a-z-]+)[" ])re")) {
    brought.insert(name);
  }
  texts absent = {"launch"};  // has no line when there is nothing to say
  for (const auto &name : all_matches(tests, R"re((?:ok +|sound\(")([a-z-]+)[" ])re")) {
    absent.insert(name);
  }
  EXPECT_EQ(texts(), without(documented, brought)) << "no test brings it";
  EXPECT_EQ(texts(), without(documented, absent)) << "no test has a launch without it";
}

// ---- The run record ------------------------------------------------------------------------

TEST(RunRecordDocument, HasTheFieldsOfTheSchemaInTheirOrder) {
  std::vector<std::string> fields;
  const std::string page = document("docs/run-record.md");
  for (const auto &row : table_rows(page, "Field | Value |")) {
    for (const auto &name : in_backticks(row.at(0))) {
      fields.push_back(name);
    }
  }
  for (const auto &sentence : all_matches(page, "\n(The job: [^\n]+)")) {
    const auto names = in_backticks(sentence);
    std::remove_copy(names.begin(), names.end(), std::back_inserter(fields), "null");
  }
  const auto required =
      all_matches(file_text("docs/run-record.schema.json"), R"re("required": \[([^\]]+)\])re");
  ASSERT_EQ(6U, required.size()) << "run, variables, step, launch, piece, job";
  std::vector<std::string> of_schema;
  for (const auto &object : {required[0], required[2], required[3], required[5]}) {
    for (const auto &name : all_matches(object, R"re("([a-z_]+)")re")) {
      of_schema.push_back(name);
    }
  }
  EXPECT_EQ(of_schema, fields);
}

// ---- Variables ----------------------------------------------------------------------------

TEST(EnvironmentDocument, HasTheVariablesThatTheCodeReadsAndSets) {
  const auto code = variables_of_code();
  const auto documented = variables_of_document();
  EXPECT_GT(code.read.size(), 50U);
  EXPECT_GT(code.set.size(), 15U);
  EXPECT_EQ(texts(), without(code.read, documented.read)) << "read and not documented";
  EXPECT_EQ(texts(), without(code.set, documented.set)) << "set and not documented";
  EXPECT_EQ(texts(), without(documented.read, code.read)) << "not read";
  EXPECT_EQ(texts(), without(documented.set, code.set)) << "not set";
}

TEST(EnvironmentDocument, HasEveryVariableThatTheCommandsHandOn) {
  texts code;
  for (const auto &file : code_files()) {
    for (const auto &literal : literals(code_of(file))) {
      for (const auto &name : all_matches(literal, "-(?:genv|env|e) ([A-Z][A-Z0-9_]+)[ =]")) {
        code.insert(name);
      }
    }
  }
  texts documented;
  for (const auto &row : table_rows(document("docs/environment.md"), "Variable | MPI | Value |")) {
    for (const auto &name : in_backticks(row.at(0))) {
      documented.insert(name);
    }
  }
  EXPECT_GT(code.size(), 5U);
  EXPECT_EQ(texts(), without(code, documented)) << "not documented";
  // Some names are put together from pieces; those are read from the environment.
  EXPECT_EQ(texts(), without(without(documented, code), variables_of_code().read));
}

// ---- Exit statuses ------------------------------------------------------------------------

TEST(ExitStatusDocument, HasTheStatusesOfTheCode) {
  texts code;
  const std::string header = code_of("src/core/exit_status.h");
  const std::regex constant(R"re(constexpr int (exit_[a-z_]+) = (\d+);)re");
  for (std::sregex_iterator match(header.begin(), header.end(), constant), end; match != end;
       ++match) {
    code.insert((*match)[2].str() + " " + (*match)[1].str());
  }
  texts documented;
  for (const auto &row :
       table_rows(document("docs/exit-status.md"), "Status | In the code | Meaning |")) {
    documented.insert(row.at(0) + " " + in_backticks(row.at(1)).at(0));
  }
  EXPECT_GT(code.size(), 5U);
  EXPECT_EQ(code, documented);
}

// ---- Messages -----------------------------------------------------------------------------

TEST(TroubleshootingDocument, HasEveryMessageOfTheCode) {
  const texts documented = pieces_of_documents();
  std::size_t messages = 0;
  for (const auto &file : code_files()) {
    if (file == "src/launch/mpirun.cpp" || room_of(file) == "front") {
      continue;  // the usage text stands with the options; zprun's messages say what to do
    }
    // Pieces of commands and their reasons have the MPIs' pages.
    const std::regex piece(R"re(\bappend\((command|line|task),[^;]*;)re");
    for (const auto &literal : literals(std::regex_replace(code_of(file), piece, ""))) {
      if (is_message(literal)) {
        ++messages;
        EXPECT_EQ(texts(), without(pieces_of_literal(literal), documented))
            << "not documented: " << literal << " in " << file;
      }
    }
  }
  EXPECT_GT(messages, 50U);
}

TEST(TroubleshootingDocument, HasNoMessageThatTheCodeDoesNotHave) {
  texts code;
  for (const auto &file : code_files()) {
    for (const auto &literal : literals(code_of(file))) {
      const auto pieces = pieces_of_literal(literal);
      code.insert(pieces.begin(), pieces.end());
    }
  }
  EXPECT_EQ(texts(), without(pieces_of_documents(), code));
}

TEST(TroubleshootingDocument, NamesWhatIsReadInTheOutputOfOtherPrograms) {
  std::string all_pages;
  texts code;
  for (const auto &file : document_files()) {
    all_pages += document(file);
  }
  for (const auto &file : code_files()) {
    for (const auto &literal : literals(code_of(file))) {
      code.insert(literal);
    }
  }
  for (const auto &text : texts_of_other_programs) {
    EXPECT_TRUE(code.contains(text)) << "no longer in the code: " << text;
    if (text != "smpd options") {  // of versions that nobody has any more
      EXPECT_NE(std::string::npos, all_pages.find("`" + text)) << "not documented: " << text;
    }
  }
}

// ---- The pages of the MPIs ----------------------------------------------------------------

namespace {

struct mpi_page {
  const char *page;
  std::vector<std::string> sources;
};

const std::vector<mpi_page> mpi_pages = {
    {"docs/msmpi.md", {"src/backends/msmpi.cpp"}},
    {"docs/intel-mpi.md", {"src/backends/intel_mpi.cpp", "src/install/smpd_service.cpp"}},
    {"docs/mpich2.md", {"src/backends/mpich2.cpp"}},
    {"docs/platform-mpi.md", {"src/backends/platform_mpi.cpp"}},
    {"docs/mpich.md", {"src/backends/mpich.cpp", "src/backends/external.cpp"}},
};

}  // namespace

TEST(MpiDocuments, ExplainEveryOptionOfTheCommands) {
  for (const auto &[page, sources] : mpi_pages) {
    const std::string text = document(page);
    for (const auto &source : sources) {
      for (const auto &literal : literals(code_of(source))) {
        for (const auto &option : all_matches(literal, "(?:^|[ 1])(-[A-Za-z][A-Za-z_]*)")) {
          EXPECT_TRUE(matches(text, (option + "\\b").c_str())) << option << " in " << page;
        }
      }
    }
  }
}

TEST(MpiDocuments, NameEveryVariableThatIsRead) {
  for (const auto &[page, sources] : mpi_pages) {
    const std::string text = document(page);
    for (const auto &source : sources) {
      for (const auto &name : all_matches(code_of(source), R"re("([A-Z][A-Z0-9_]{2,})")re")) {
        if (name != "FAIL") {
          EXPECT_NE(std::string::npos, text.find(name)) << name << " in " << page;
        }
      }
    }
  }
}

TEST(ClustersDocument, NamesEveryVariableOfTheScheduler) {
  const std::string text = document("docs/clusters.md");
  for (const auto &file : code_files()) {
    if (file.starts_with("src/scheduler/")) {
      for (const auto &name : all_matches(code_of(file), R"re("(Z?[A-Z]*CCP_[A-Z_]{2,})")re")) {
        if (name != "CCP_JOBID") {  // a matter of Platform MPI's page
          EXPECT_NE(std::string::npos, text.find("`" + name)) << name;
        }
      }
    }
  }
}

TEST(ClustersDocument, ShowsEveryOptionOfTheSchedulersCommands) {
  const std::string text = document("docs/clusters.md");
  for (const auto &file : code_files()) {
    if (file.starts_with("src/scheduler/")) {
      for (const auto &literal : literals(code_of(file))) {
        for (const auto &option : all_matches(literal, "(?:^| )(/[a-z]{2,}:)")) {
          EXPECT_NE(std::string::npos, text.find(option)) << option << " of " << file;
        }
      }
    }
  }
}

// ---- The rooms of the code ----------------------------------------------------------------

TEST(ArchitectureDocument, HasARoomForEachFolderWithItsFiles) {
  std::map<std::string, texts> code;
  for (const auto &file : code_files()) {
    code[room_of(file)].insert(file_stem(file));
  }
  std::map<std::string, texts> documented;
  for (const auto &room : rooms_of_document()) {
    EXPECT_TRUE(documented.emplace(room.name, room.files).second) << room.name;
  }
  EXPECT_GT(code.size(), 5U);
  EXPECT_EQ(code, documented);
}

TEST(ArchitectureDocument, SaysWhichRoomsIncludeWhich) {
  std::map<std::string, texts> code;
  for (const auto &file : code_files()) {
    for (const auto &header : includes_of(file)) {
      code[room_of(file)].insert(folder_of(header));
    }
  }
  texts above;
  for (const auto &room : rooms_of_document()) {
    above.insert(room.name);
    code[room.name].erase(room.name);
    EXPECT_EQ(code[room.name], room.may_include) << room.name;
    for (const auto &included : room.may_include) {
      EXPECT_FALSE(above.contains(included)) << room.name << " includes " << included;
    }
  }
}

TEST(Code, HasNoCirclesBetweenItsFiles) {
  const auto modules = modules_of_code();
  EXPECT_GT(modules.size(), 30U);
  for (const auto &[module, included] : circles_in(modules)) {
    for (const auto &other : included) {
      ADD_FAILURE() << module << " includes " << other;
    }
  }
}

TEST(Code, IncludesWindowsBehindTheDoorAlone) {
  for (const auto &file : code_files()) {
    const bool includes = matches(file_text(file), "#include <(windows|win[a-z0-9]*)\\.h>");
    EXPECT_TRUE(!includes || room_of(file) == "platform") << file;
  }
}

// ---- Links --------------------------------------------------------------------------------

TEST(Documents, LinkToWhatIsThere) {
  std::size_t links = 0;
  for (const auto &file : document_files()) {
    const std::string text = document(file);
    for (const auto &link : all_matches(without_fenced_blocks(text), R"re(\]\(([^)\s]+)\))re")) {
      if (link.find("://") != std::string::npos) {
        continue;
      }
      ++links;
      const std::size_t hash = std::min(link.find('#'), link.size());
      const std::string target =
          hash == 0 ? file : normal_path(folder_of(file) + "/" + link.substr(0, hash));
      EXPECT_TRUE(exists_in_tree(target)) << link << " in " << file;
      if (hash < link.size() && exists_in_tree(target)) {
        EXPECT_TRUE(anchors_of(document(target)).contains(link.substr(hash + 1)))
            << link << " in " << file;
      }
    }
  }
  EXPECT_GT(links, 30U);
}
