// Tests of what counts as a release, and of where the program of an MPI lies.
#include "front/site.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "front/launch_checks.h"
#include "support/platform_stand_in.h"

using namespace stand_in;

namespace {

using texts = std::vector<std::string>;

TEST(Releases, AreTheFoldersOfAVersion) {
  given_variable("ZEPHON_INC", "C:\\inc");
  given_listing("C:\\inc", {"zephon", "zephon10", "zephon2.0", "ZEPHON9876543210.1", "zephonx",
                            "zephon.3", "zephon3.", "zephon3.x", "zephon3 ", "backup7"});
  EXPECT_EQ((texts{"9876543210.1", "10", "2.0"}), find_site().releases);
}

TEST(Releases, AreNoneWhereNobodyNamesTheirFolder) {
  finding_list list;
  EXPECT_EQ("", check_release(list, {}, {}));
  EXPECT_TRUE(has_fault(list));
}

TEST(MpiProgram, OfMpichStandsInTheFolderOfItsFirstVariable) {
  EXPECT_EQ("\\bin\\mpirun.exe", mpi_program("C:\\inc", "2", "mpich"));
  for (const char *variable : {"MPI_HOME", "MPICH_HOME"}) {
    given_variable(variable, variable);
    for (const char *mpi : {"mpich", "smpi", "nmpi"}) {
      EXPECT_EQ(std::string(variable) + "\\bin\\mpirun.exe", mpi_program("C:\\inc", "2", mpi));
    }
  }
}

TEST(MpiProgram, IsNoneWithoutAnMpi) {
  EXPECT_EQ("", mpi_program("C:\\inc", "2", "net"));
}

}  // namespace
