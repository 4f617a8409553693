// package_test.cpp: what a site gets: the programs' version, icon, manifest and
// flags, the ZIP, and the MSI from its installation to its removal.
//
// The MSI is really installed on the machine (under Wine: in the prefix), one test
// at a time. PACKAGES and OLDER_PACKAGES name folders with other packages than this
// build's.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <tuple>

#include "faulty_files.h"
#include "world_state.h"

using namespace scenario;

namespace {

// ---- Reading built files ------------------------------------------------------------------

std::string bytes_of(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << "no " << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::uint32_t number_at(const std::string &bytes, std::size_t position, std::size_t width) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < width && position + i < bytes.size(); ++i) {
    number |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[position + i]))
              << (8 * i);
  }
  return number;
}

// A resource as its bytes; empty when the program has none of that kind and number.
std::string resource_of(const std::string &program, LPCSTR kind, WORD number) {
  const HMODULE image = LoadLibraryExA(program.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  const HRSRC found = FindResourceA(image, MAKEINTRESOURCEA(number), kind);
  std::string bytes;
  if (found != nullptr) {
    const void *data = LockResource(LoadResource(image, found));
    bytes.assign(static_cast<const char *>(data), SizeofResource(image, found));
  }
  FreeLibrary(image);
  return bytes;
}

std::string version_text(std::string &information, const std::string &name) {
  void *text = nullptr;
  UINT length = 0;
  if (VerQueryValueA(information.data(), ("\\StringFileInfo\\040904E4\\" + name).c_str(), &text,
                     &length) == 0) {
    return "";
  }
  return static_cast<const char *>(text);
}

std::string version_information(const std::string &program) {
  DWORD ignored = 0;
  std::string information(GetFileVersionInfoSizeA(program.c_str(), &ignored), '\0');
  EXPECT_TRUE(GetFileVersionInfoA(program.c_str(), 0, static_cast<DWORD>(information.size()),
                                  information.data()));
  return information;
}

std::vector<std::string> all_programs() {
  return {built_launcher(), built_front(), built_console_launcher()};
}

// ---- The installed package ----------------------------------------------------------------

std::string variable(const char *name) {
  const char *const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// A package of this build, or of the folder that the variable names; empty without.
std::string package(const char *folder_variable, const std::string &folder,
                    const std::string &file) {
  const auto named = variable(folder_variable);
#ifndef LAUNCHER_PACKAGES
  if (named.empty()) {
    return "";
  }
#endif
  return (named.empty() ? build_folder() + "\\packaging\\" + folder : named) + "\\" + file;
}

const std::string newer_name = "zephon-launcher-" LAUNCHER_VERSION "-win64";

std::string default_folder() {
  return variable("ProgramFiles") + "\\Zephon launcher";
}

bool is_elevated() {
  HANDLE token = nullptr;
  TOKEN_ELEVATION elevation = {};
  DWORD size = 0;
  const bool told = OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) &&
                    GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size);
  CloseHandle(token);
  return told && elevation.TokenIsElevated != 0;
}

// A text in the machine's registry; empty when it is not there.
std::string machine_text(const std::string &key, const std::string &name) {
  std::string text(32768, '\0');
  auto size = static_cast<DWORD>(text.size());
  if (RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(),
                   RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND | RRF_SUBKEY_WOW6464KEY,
                   nullptr, text.data(), &size) != ERROR_SUCCESS) {
    return "";
  }
  text.resize(text.find('\0'));
  return text;
}

// What the installation has written down for upgrades and for the programs.
std::string installed_value(const std::string &name) {
  return machine_text("Software\\Zephon\\Launcher", name);
}

std::string machine_path() {
  auto path =
      machine_text("SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", "PATH");
  if (runs_under_wine()) {  // it takes a folder away and leaves the semicolon before it
    path.erase(path.find_last_not_of(';') + 1);
  }
  return path;
}

const std::string list_of_programs = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

struct listed_product {
  std::string code;
  std::string version;
};

// The launchers that Windows lists among the installed programs.
std::vector<listed_product> listed_products() {
  std::vector<listed_product> products;
  HKEY list = nullptr;
  RegOpenKeyExA(HKEY_LOCAL_MACHINE, list_of_programs.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &list);
  char key[256];
  for (DWORD index = 0; RegEnumKeyA(list, index, key, sizeof key) == ERROR_SUCCESS; ++index) {
    char name[256] = "";
    char version[64] = "";
    DWORD name_size = sizeof name;
    DWORD version_size = sizeof version;
    RegGetValueA(list, key, "DisplayName", RRF_RT_REG_SZ, nullptr, name, &name_size);
    RegGetValueA(list, key, "DisplayVersion", RRF_RT_REG_SZ, nullptr, version, &version_size);
    if (std::string(name) == "Zephon launcher") {
      products.push_back({key, version});
    }
  }
  RegCloseKey(list);
  return products;
}

std::vector<std::string> listed_versions() {
  std::vector<std::string> versions;
  for (const auto &product : listed_products()) {
    versions.push_back(product.version);
  }
  return versions;
}

// Every file and folder below the places where an installation leaves something.
std::set<std::string> installed_files() {
  std::set<std::string> names;
  for (const auto &root : {variable("ProgramFiles"), variable("SystemRoot") + "\\Installer"}) {
    std::error_code failure;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(
             root, std::filesystem::directory_options::skip_permission_denied, failure)) {
      names.insert(entry.path().string());
    }
  }
  return names;
}

launch start_system_program(const std::string &name, const std::string &arguments) {
  return start_program(variable("SystemRoot") + "\\system32\\" + name, name + " " + arguments);
}

launch run_system_program(const std::string &name, const std::string &arguments) {
  auto run = start_system_program(name, arguments);
  wait_for_everything(run);
  return run;
}

unsigned long install(const std::string &msi, const std::string &properties = "") {
  return run_system_program("msiexec.exe", "/i \"" + msi + "\" /qn" + properties).status;
}

unsigned long remove_package(const std::string &msi) {
  return run_system_program("msiexec.exe", "/x \"" + msi + "\" /qn").status;
}

// Keeps the machine to one test at a time and leaves it as it was.
class Package : public testing::Test {
 protected:
  void SetUp() override {
    if (newer.empty() || older.empty()) {
      GTEST_SKIP() << "this build has no packages: a tool to make them was not found";
    }
    if (!is_elevated()) {
      GTEST_SKIP() << "only an administrator can install a package";
    }
    turn_.reset(CreateMutexA(nullptr, FALSE, "zephon package test"));
    (void)WaitForSingleObject(turn_.get(), INFINITE);
    if (runs_under_wine()) {
      remove_what_is_listed();  // of a test that was broken off
    }
    ASSERT_EQ(std::vector<std::string>(), listed_versions())
        << "a launcher is installed on this machine, remove it first";
    before_ = installed_files();
    path_before_ = machine_path();
    installing_ = true;
  }

  void TearDown() override {
    if (installing_) {
      remove_what_is_listed();
      if (runs_under_wine()) {  // an empty entry of PATH is the current folder to it
        give_path_back();
      }
    }
    if (turn_) {
      ReleaseMutex(turn_.get());
    }
  }

  void expect_nothing_is_left() {
    EXPECT_EQ(std::vector<std::string>(), listed_versions());
    EXPECT_EQ(before_, installed_files());
    EXPECT_EQ(path_before_, machine_path());
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Zephon\\Launcher",
                                                  0, KEY_READ | KEY_WOW64_64KEY, &key));
  }

  [[nodiscard]] std::string path_before() const { return path_before_; }

  const std::string newer = package("PACKAGES", "packages", newer_name + ".msi");
  const std::string older =
      package("OLDER_PACKAGES", "older_packages", "zephon-launcher-1.0.0-win64.msi");

 private:
  void give_path_back() const {
    RegSetKeyValueA(
        HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
        "PATH", REG_EXPAND_SZ, path_before_.c_str(), static_cast<DWORD>(path_before_.size() + 1));
  }

  static void remove_what_is_listed() {
    for (const auto &product : listed_products()) {
      (void)run_system_program("msiexec.exe", "/x " + product.code + " /qn");
    }
  }

  owned_handle turn_;
  bool installing_ = false;
  std::set<std::string> before_;
  std::string path_before_;
};

// Starts a run with the installed zprun, over a release in the test's world.
class InstalledZprun : public Package {
 protected:
  void SetUp() override {
    Package::SetUp();
    if (IsSkipped() || HasFatalFailure()) {
      return;
    }
    ASSERT_EQ(0U, install(newer));
    given_variable("ZEPHON_INC", in_world("inc"));
    given_variable("ZEPHON_DEFAULT_RELEASE", "12.0.1");
  }

  static launch run_zprun(const std::string &arguments) {
    return run_system_program(
        "cmd.exe", "/c \"\"" + default_folder() + "\\bin\\zprun.exe\" " + arguments + "\"");
  }

  static std::string release(const std::string &path) {
    return in_world("inc\\zephon12.0.1\\" + path);
  }
};

}  // namespace

// ---- The programs -------------------------------------------------------------------------

TEST(PackagedPrograms, TellTheirVersion) {
  unsigned major = 0;
  unsigned minor = 0;
  unsigned patch = 0;
  ASSERT_EQ(3, std::sscanf(LAUNCHER_VERSION, "%u.%u.%u", &major, &minor, &patch));
  for (const auto &program : all_programs()) {
    auto information = version_information(program);
    void *data = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueA(information.data(), "\\", &data, &size)) << program;
    const auto &fixed = *static_cast<const VS_FIXEDFILEINFO *>(data);
    EXPECT_EQ((major << 16U) | minor, fixed.dwFileVersionMS) << program;
    EXPECT_EQ(patch << 16U, fixed.dwFileVersionLS) << program;
    EXPECT_EQ(fixed.dwFileVersionMS, fixed.dwProductVersionMS) << program;
    EXPECT_EQ(LAUNCHER_VERSION ".0", version_text(information, "FileVersion")) << program;
    EXPECT_EQ(LAUNCHER_VERSION ".0", version_text(information, "ProductVersion")) << program;
  }
}

TEST(PackagedPrograms, TellTheirNameAndPurpose) {
  const std::string purpose = "Start-up program of the parallel solver Zephon";
  for (const auto &[program, name, description] :
       {std::tuple{built_launcher(), "mpirun.exe", purpose},
        std::tuple{built_front(), "zprun.exe", std::string("Starts the parallel solver Zephon")},
        std::tuple{built_console_launcher(), "mpirun_console.exe", purpose + ", for a console"}}) {
    auto information = version_information(program);
    EXPECT_EQ("Zephon launcher", version_text(information, "ProductName"));
    EXPECT_EQ(name, version_text(information, "OriginalFilename"));
    EXPECT_EQ(description, version_text(information, "FileDescription"));
  }
}

TEST(PackagedPrograms, HaveAnIconInThreeSizes) {
  for (const auto &program : all_programs()) {
    const auto group = resource_of(program, RT_GROUP_ICON, 1);
    ASSERT_EQ(3U, number_at(group, 4, 2)) << program;
    std::vector<std::uint32_t> sizes;
    for (std::size_t entry = 0; entry < 3; ++entry) {
      const std::size_t at = 6 + 14 * entry;
      sizes.push_back(number_at(group, at, 1));
      const auto number = static_cast<WORD>(number_at(group, at + 12, 2));
      EXPECT_EQ(number_at(group, at + 8, 4), resource_of(program, RT_ICON, number).size());
    }
    EXPECT_EQ((std::vector<std::uint32_t>{16, 32, 48}), sizes) << program;
  }
}

TEST(PackagedPrograms, AskForNoRightsOfAnAdministrator) {
  for (const auto &program : all_programs()) {
    ACTCTXA source = {};
    source.cbSize = sizeof source;
    source.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
    source.lpSource = program.c_str();
    source.lpResourceName = MAKEINTRESOURCEA(1);
    const HANDLE context = CreateActCtxA(&source);
    ASSERT_NE(INVALID_HANDLE_VALUE, context) << "Windows cannot read the manifest of " << program;
    ACTIVATION_CONTEXT_RUN_LEVEL_INFORMATION level = {};
    SIZE_T size = 0;
    EXPECT_TRUE(QueryActCtxW(0, context, nullptr, RunlevelInformationInActivationContext, &level,
                             sizeof level, &size));
    EXPECT_EQ(ACTCTX_RUN_LEVEL_AS_INVOKER, level.RunLevel) << program;
    EXPECT_EQ(0U, level.UiAccess) << program;
    ReleaseActCtx(context);
  }
}

TEST(PackagedPrograms, AreMadeForLongPathsAndTheSupportedSystems) {
  for (const auto &program : all_programs()) {
    const auto manifest = resource_of(program, RT_MANIFEST, 1);
    EXPECT_NE(std::string::npos, manifest.find(">true</longPathAware>")) << program;
    for (const char *system :
         {"{35138b9a-5d96-4fbd-8e2d-a2440225f93a}", "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}",
          "{1f676c76-80e1-4239-95bb-83d0f6d0da78}", "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"}) {
      EXPECT_NE(std::string::npos, manifest.find(system)) << program << " " << system;
    }
  }
}

TEST(PackagedPrograms, KeepTheCodePageOfTheMachine) {
  for (const auto &program : all_programs()) {
    EXPECT_EQ(std::string::npos, resource_of(program, RT_MANIFEST, 1).find("<activeCodePage"));
  }
  given_installed_release();
  given_tool("tool.exe");
  run_launcher("--mpi=net --np=1 -wait tool.exe \xE9\xFC\x80");
  EXPECT_EQ("tool.exe \xE9\xFC\x80", only_start_of("tool.exe").command_line);
}

// ---- The ZIP ------------------------------------------------------------------------------

TEST(PackagedZip, HoldsProgramsAndPages) {
  const auto path = package("PACKAGES", "packages", newer_name + ".zip");
  if (path.empty()) {
    GTEST_SKIP() << "this build has no packages: a tool to make them was not found";
  }
  const auto zip = bytes_of(path);
  std::set<std::string> names;
  const std::string entry("PK\x01\x02", 4);
  for (std::size_t at = 0; (at = zip.find(entry, at)) != std::string::npos; ++at) {
    names.insert(zip.substr(at + 46, number_at(zip, at + 28, 2)));
  }
  for (const char *file :
       {"/bin/mpirun.exe", "/bin/zprun.exe", "/README.html", "/CHANGELOG.html",
        "/docs/options.html", "/docs/installation.html", "/docs/run-record.schema.json"}) {
    EXPECT_TRUE(names.contains(newer_name + file)) << file;
  }
  // What is for those who work on the launcher stays with them.
  for (const auto &name : names) {
    EXPECT_FALSE(name.ends_with(".md") || name.ends_with("architecture.html") ||
                 name.ends_with("mpirun_console.exe"))
        << name;
  }
}

// ---- The MSI ------------------------------------------------------------------------------

TEST_F(Package, IsInstalledSilentlyAndLeavesNothingWhenRemoved) {
  ASSERT_EQ(0U, install(newer));

  EXPECT_EQ(std::vector<std::string>{LAUNCHER_VERSION}, listed_versions());
  EXPECT_EQ(default_folder() + "\\", installed_value("InstallFolder"));
  for (const char *file :
       {"bin\\mpirun.exe", "bin\\zprun.exe", "README.html", "CHANGELOG.html", "docs\\options.html",
        "docs\\troubleshooting.html", "docs\\run-record.schema.json"}) {
    EXPECT_TRUE(std::filesystem::exists(default_folder() + "\\" + file)) << file;
  }
  EXPECT_TRUE(machine_path().ends_with(";" + default_folder() + "\\bin\\")) << machine_path();

  EXPECT_EQ(0U, remove_package(newer));
  expect_nothing_is_left();
}

TEST_F(Package, IsListedWithHelpAndWithoutAModifyButton) {
  ASSERT_EQ(0U, install(newer));
  const auto entry = list_of_programs + "\\" + listed_products().at(0).code;
  EXPECT_EQ("file:///" + default_folder() + "\\docs\\troubleshooting.html",
            machine_text(entry, "HelpLink"));
  EXPECT_EQ("file:///" + default_folder() + "\\README.html", machine_text(entry, "URLInfoAbout"));
  EXPECT_EQ(default_folder() + "\\README.html", machine_text(entry, "Readme"));
  DWORD no_modify = 0;
  DWORD size = sizeof no_modify;
  RegGetValueA(HKEY_LOCAL_MACHINE, entry.c_str(), "NoModify", RRF_RT_REG_DWORD, nullptr, &no_modify,
               &size);
  EXPECT_EQ(1U, no_modify);
}

TEST_F(Package, WritesALogWhenAskedFor) {
  const auto log = in_world("installation.log");
  ASSERT_EQ(0U, install(newer, " /norestart /l*v \"" + log + "\""));
  EXPECT_TRUE(std::filesystem::exists(log));
}

TEST_F(Package, KeepsTheChoicesOfTheSiteWhenItIsUpgraded) {
  ASSERT_EQ(0U, install(older,
                        " ZEPHON_INC=\"\\\\fileserver\\our solvers\" DEFAULT_RELEASE=12.0.16 "
                        "ADD_TO_PATH=0"));
  EXPECT_EQ("\\\\fileserver\\our solvers", installed_value("ZEPHON_INC"));
  EXPECT_EQ("12.0.16", installed_value("DefaultRelease"));
  EXPECT_EQ(path_before(), machine_path());

  ASSERT_EQ(0U, install(newer));

  EXPECT_EQ("\\\\fileserver\\our solvers", installed_value("ZEPHON_INC"));
  EXPECT_EQ("12.0.16", installed_value("DefaultRelease"));
  EXPECT_EQ(path_before(), machine_path());
  EXPECT_EQ(0U, remove_package(newer));
  expect_nothing_is_left();
}

TEST_F(Package, ReplacesAnOlderVersion) {
  ASSERT_EQ(0U, install(older));
  ASSERT_NE(std::vector<std::string>{LAUNCHER_VERSION}, listed_versions());

  EXPECT_EQ(0U, install(newer));

  EXPECT_EQ(std::vector<std::string>{LAUNCHER_VERSION}, listed_versions());
  EXPECT_FALSE(std::filesystem::exists(default_folder() + "\\docs\\earlier.txt"));
  EXPECT_TRUE(std::filesystem::exists(default_folder() + "\\bin\\mpirun.exe"));
  EXPECT_EQ(0U, remove_package(newer));
  expect_nothing_is_left();
}

TEST_F(Package, ReplacesAnOlderVersionWhileItsLauncherRuns) {
  ASSERT_EQ(0U, install(older));
  given_installed_release();
  given_tool("tool.exe", "wait_file go\nout done\\n\n");
  auto run = start_program(default_folder() + "\\bin\\mpirun.exe",
                           "mpirun.exe --mpi=net --np=1 -wait ..\\tool.exe");
  wait_for_starts(run, "tool.exe", 1);

  auto setup = start_system_program("msiexec.exe", "/i \"" + newer + "\" /qn");
  wait_for_end(setup);

  EXPECT_TRUE(setup.status == ERROR_SUCCESS || setup.status == ERROR_SUCCESS_REBOOT_REQUIRED)
      << setup.status;
  EXPECT_EQ(std::vector<std::string>{LAUNCHER_VERSION}, listed_versions());
  given_file("go");
  wait_for_everything(run);
  EXPECT_EQ("done\n", run.output);
}

TEST_F(Package, StaysInTheFolderThatTheSiteChoseOnce) {
  const auto chosen = in_world("a site's folder");
  ASSERT_EQ(0U, install(older, " INSTALLDIR=\"" + chosen + "\""));
  ASSERT_TRUE(std::filesystem::exists(chosen + "\\docs\\earlier.txt"));

  EXPECT_EQ(0U, install(newer));

  EXPECT_TRUE(std::filesystem::exists(chosen + "\\bin\\mpirun.exe"));
  EXPECT_FALSE(std::filesystem::exists(chosen + "\\docs\\earlier.txt"));
  EXPECT_FALSE(std::filesystem::exists(default_folder()));
  EXPECT_EQ(0U, remove_package(newer));
  EXPECT_FALSE(std::filesystem::exists(chosen));
  expect_nothing_is_left();
}

TEST_F(Package, IsNotReplacedByAnOlderVersion) {
  ASSERT_EQ(0U, install(newer));

  EXPECT_NE(0U, install(older));

  EXPECT_EQ(std::vector<std::string>{LAUNCHER_VERSION}, listed_versions());
  EXPECT_FALSE(std::filesystem::exists(default_folder() + "\\docs\\earlier.txt"));
}

// ---- Launches through the installed zprun --------------------------------------------------

TEST_F(InstalledZprun, LaunchesASerialRunAndGivesItsStatus) {
  given_tool("inc\\zephon12.0.1\\ntbin\\win64\\zephon.exe", "out converged\\n\nexit 3\n");

  const auto run = run_zprun("case.jou \"a b\" \"say \\\"hi\\\"\" \"\"");

  EXPECT_EQ(3U, run.status);
  EXPECT_EQ("converged\n", run.output);
  const auto start = only_start_of("inc\\zephon12.0.1\\ntbin\\win64\\zephon.exe");
  EXPECT_EQ((std::vector<std::string>{release("ntbin\\win64\\zephon.exe"), "case.jou", "a b",
                                      "say \"hi\"", ""}),
            start.arguments);
  EXPECT_EQ("zephon", start.variable("ZEPHON_PROD"));
  EXPECT_EQ("win64", start.variable("ZEPHON_ARCH"));
  EXPECT_EQ(in_world("inc\\zephon12.0.1"), start.variable("ZEPHON_PROD_DIR"));
  EXPECT_EQ("1", start.variable("STDOUT_FLUSH"));
  EXPECT_EQ("12.0.1", start.variable("PASS_IN_RELEASE"));
}

TEST_F(InstalledZprun, LaunchesThroughMsMpi) {
  const auto mpiexec = mpi_folder("12.0.1", "ms") + "\\bin\\mpiexec.exe";
  given_tool("inc\\zephon12.0.1\\ntbin\\win64\\zephon.exe");
  given_file("inc\\zephon12.0.1\\netweave\\mpi_wrapper\\win64\\msmpi\\mpi_wrapper.dll");
  given_tool(mpiexec, "out converged\\n\n");

  const auto run = run_zprun("-mpi=msmpi -np=4 case.jou");

  EXPECT_EQ(0U, run.status);
  EXPECT_EQ("converged\n", run.output);
  EXPECT_EQ("zprun: -np=4 was read as -t4\r\n", run.errors);
  EXPECT_EQ(in_quotes(in_world(mpiexec)) + "   -np 4  -env PATH \"" + in_world("inc") +
                "\\ntbin\\win64;" + release("netweave\\mpi_wrapper\\win64\\msmpi") +
                "\"  -env ZEPHON_PROD_DIR \"'" + in_world("inc\\zephon12.0.1") + "'\"  \"" +
                release("ntbin\\win64\\zephon.exe") + "\" case.jou",
            only_start_of(mpiexec).command_line);
}
