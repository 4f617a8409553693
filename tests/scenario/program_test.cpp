// program_test.cpp: the program file itself: what it needs of Windows, its kind and its size.

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>

#include "scenario_bench.h"
#include "scripted_tool/tool_log.h"

using namespace scenario;

namespace {

template <typename data>
data read_at(const std::string &file, std::size_t offset) {
  data value = {};
  if (offset + sizeof value <= file.size()) {
    std::memcpy(&value, file.data() + offset, sizeof value);
  }
  return value;
}

std::string program_file(const std::string &path) {
  return scripted_tool::read_file(path).value_or("");
}

std::size_t header_offset(const std::string &file) {
  return static_cast<std::size_t>(read_at<IMAGE_DOS_HEADER>(file, 0).e_lfanew);
}

IMAGE_NT_HEADERS64 header_of(const std::string &file) {
  return read_at<IMAGE_NT_HEADERS64>(file, header_offset(file));
}

// Where an address of the loaded program stands in its file.
std::size_t file_offset(const std::string &file, DWORD address) {
  const auto header = header_of(file);
  const auto sections = header_offset(file) + sizeof(IMAGE_NT_HEADERS64);
  for (WORD index = 0; index < header.FileHeader.NumberOfSections; ++index) {
    const auto section =
        read_at<IMAGE_SECTION_HEADER>(file, sections + index * sizeof(IMAGE_SECTION_HEADER));
    if (address >= section.VirtualAddress &&
        address < section.VirtualAddress + section.Misc.VirtualSize) {
      return section.PointerToRawData + (address - section.VirtualAddress);
    }
  }
  return file.size();
}

std::string lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

// The libraries that Windows loads with the program.
std::vector<std::string> imported_libraries(const std::string &file) {
  const auto table =
      header_of(file).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  std::vector<std::string> names;
  for (auto offset = file_offset(file, table);; offset += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
    const auto library = read_at<IMAGE_IMPORT_DESCRIPTOR>(file, offset);
    if (library.Name == 0) {
      return names;
    }
    names.push_back(lower_case(file.c_str() + file_offset(file, library.Name)));
  }
}

}  // namespace

TEST(Program, NeedsNothingButWindowsOwnLibraries) {
  for (const auto &program : {built_launcher(), built_front(), built_console_launcher()}) {
    const auto libraries = imported_libraries(program_file(program));
    EXPECT_FALSE(libraries.empty()) << program;
    for (const auto &library : libraries) {
      const bool of_windows = library == "kernel32.dll" || library == "msvcrt.dll" ||
                              library == "ucrtbase.dll" || library.starts_with("api-ms-win-crt-");
      EXPECT_TRUE(of_windows) << program << " needs " << library;
    }
  }
}

TEST(Program, LoadsTheWindowLibraryOnlyWhenABoxIsShown) {
  const auto libraries = imported_libraries(program_file(built_launcher()));
  EXPECT_EQ(0, std::count(libraries.begin(), libraries.end(), "user32.dll"));
}

TEST(Program, IsForTheWindowSubsystemAndTheOthersForTheConsole) {
  for (const auto &[program, subsystem] :
       {std::pair{built_launcher(), IMAGE_SUBSYSTEM_WINDOWS_GUI},
        std::pair{built_front(), IMAGE_SUBSYSTEM_WINDOWS_CUI},
        std::pair{built_console_launcher(), IMAGE_SUBSYSTEM_WINDOWS_CUI}}) {
    const auto header = header_of(program_file(program));
    EXPECT_EQ(subsystem, header.OptionalHeader.Subsystem) << program;
    EXPECT_EQ(IMAGE_FILE_MACHINE_AMD64, header.FileHeader.Machine) << program;
  }
}

TEST(Program, HasTheProtectionsOfWindowsSwitchedOn) {
  for (const auto &program : {built_launcher(), built_front(), built_console_launcher()}) {
    const auto header = header_of(program_file(program));
    ASSERT_EQ(DWORD{IMAGE_NT_SIGNATURE}, header.Signature) << program;
    EXPECT_EQ(IMAGE_NT_OPTIONAL_HDR64_MAGIC, header.OptionalHeader.Magic) << program;
    constexpr WORD protections = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                                 IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                                 IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(protections, header.OptionalHeader.DllCharacteristics & protections) << program;
    // Without relocations Windows could not move the program.
    EXPECT_EQ(0, header.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED) << program;
    const auto &relocations = header.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC];
    EXPECT_NE(0U, relocations.Size) << program;
  }
}

TEST(Program, IsSmall) {
  EXPECT_GE(400'000U, program_file(built_launcher()).size());
}
