// What people type behind zprun, and how it is read.
#include "front/arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "front/launcher_line.h"
#include "front/near_misses.h"

namespace {

using testing::ElementsAre;
using texts = std::vector<std::string>;

// Everything that becomes of a launch: the launcher's options, then the solver's
// arguments behind a bar.
std::string read_as(const texts &words) {
  const typed_launch launch = read_arguments(words);
  std::string text;
  for (const std::string &reason : launch.refused) {
    text += "REFUSED " + reason + "\n";
  }
  if (!text.empty()) {
    return text;
  }
  for (const std::string &option : launcher_options(launch, launch.release.value_or("DEFAULT"))) {
    text += option + " ";
  }
  text += "|";
  for (const std::string &argument : launch.solver_arguments) {
    text += " " + argument;
  }
  return text;
}

struct reading {
  texts typed;
  std::string expected;
  bool mended = false;
};

class Readings : public testing::TestWithParam<reading> {};

std::string name_of(const testing::TestParamInfo<reading> &info) {
  std::string name = "N" + std::to_string(info.index);
  for (const std::string &word : info.param.typed) {
    for (const char letter : word) {
      name += std::isalnum(static_cast<unsigned char>(letter)) != 0 ? letter : '_';
    }
  }
  return name;
}

}  // namespace

TEST_P(Readings, AreTheLaunchersOptions) {
  const auto &[typed, expected, mended] = GetParam();
  EXPECT_EQ(expected, read_as(typed));
  EXPECT_EQ(mended, !read_arguments(typed).mended.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Options, Readings,
    testing::Values(
        reading{{"plate.case", "xhelp"}, "--rDEFAULT --mpi=net -wait | plate.case xhelp"},
        reading{{"-r12.0.1", "-t4", "x"}, "--r12.0.1 --mpi= --np=4 -wait | x"},
        reading{{"-mpi=intel", "-t8"}, "--rDEFAULT --mpi=intel --np=8 -wait |"},
        reading{{"-mpi", "intel", "-t8"}, "--rDEFAULT --mpi=intel --np=8 -wait |"},
        reading{{"-mpi=", "x"}, "--rDEFAULT --mpi= -wait | x"},
        reading{{"-mpi", "-t2"}, "--rDEFAULT --mpi= --np=2 -wait |"},
        reading{{"-cnf=h.txt", "-mpi=msmpi"}, "--rDEFAULT --mpi=msmpi --cnf=h.txt -wait |"},
        reading{{"-cnf", "my hosts", "-mpi=msmpi"},
                "--rDEFAULT --mpi=msmpi --cnf=my hosts -wait |"},
        reading{{"-ccp", "head", "-mpi=msmpi"}, "--rDEFAULT --mpi=msmpi --ccp head -wait |"},
        reading{{"-ccp=head", "-mpi=msmpi", "-jobid", "-1"},
                "--rDEFAULT --mpi=msmpi --ccp head -wait |"},
        reading{{"-ccp=head", "-mpi=msmpi", "-jobid=12", "-unit=core", "-np_per_node=2"},
                "--rDEFAULT --mpi=msmpi --ccp head --jobid=12 --np_per_node=2 --unit=core -wait |"},
        reading{{"-pic=ib", "-t2"}, "--rDEFAULT --mpi= --np=2 --ic=ib -wait |"},
        reading{{"-pic=default", "-t2"}, "--rDEFAULT --mpi= --np=2 -wait |"},
        reading{{"-o", "t.txt", "x"}, "--rDEFAULT --mpi=net --o t.txt -wait | x"},
        reading{{"-nowait", "x"}, "--rDEFAULT --mpi=net | x"},
        reading{{"-cwd", "d:\\x", "-cred_check=no", "-host_ip=a:1.2.3.4"},
                "--rDEFAULT --mpi=net --cwd d:\\x --host_ip=a:1.2.3.4 --cred_check=no -wait |"},
        reading{{"-ptrace", "-debugmpi", "-cache_password", "-wait"},
                "--rDEFAULT --mpi=net --ptrace --debugmpi --cache_password -wait |"},
        reading{{"-install_smpd"}, "--rDEFAULT --mpi=net --install_smpd 0 -wait |"},
        reading{{"-start_smpd", "c:\\m"}, "--rDEFAULT --mpi=net --start_smpd c:\\m -wait |"},
        reading{{"-install_ibmmpi"}, "--rDEFAULT --mpi=net --install_ibmmpi -wait |"},
        // the solver's, wherever they stand
        reading{{"-i", "a.case", "-title", "b c", "-t2"},
                "--rDEFAULT --mpi= --np=2 -wait | -i a.case -title b c"},
        reading{{"-t2", "--", "-t4", "-mpi=x", "--"},
                "--rDEFAULT --mpi= --np=2 -wait | -t4 -mpi=x --"},
        reading{{"-", "", "--unknown"}, "--rDEFAULT --mpi=net -wait | -  --unknown"}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    NearMisses, Readings,
    testing::Values(reading{{"-np=4"}, "--rDEFAULT --mpi= --np=4 -wait |", true},
                    reading{{"--np=4"}, "--rDEFAULT --mpi= --np=4 -wait |", true},
                    reading{{"-np", "4"}, "--rDEFAULT --mpi= --np=4 -wait |", true},
                    reading{{"-t", "4"}, "--rDEFAULT --mpi= --np=4 -wait |", true},
                    reading{{"-t=4"}, "--rDEFAULT --mpi= --np=4 -wait |", true},
                    reading{{"-T4"}, "--rDEFAULT --mpi= --np=4 -wait |", true},
                    reading{{"-r", "12.0.1"}, "--r12.0.1 --mpi=net -wait |", true},
                    reading{{"--r12.0.1"}, "--r12.0.1 --mpi=net -wait |", true},
                    reading{{"-r12", ".0.1", "x"}, "--r12.0.1 --mpi=net -wait | x", true},
                    reading{{"-cnf=hosts", ".txt", "-t2"},
                            "--rDEFAULT --mpi= --np=2 --cnf=hosts.txt -wait |",
                            true},
                    reading{{"-cnf=hosts", ".\\x.case", "-t2"},
                            "--rDEFAULT --mpi= --np=2 --cnf=hosts -wait | .\\x.case"},
                    reading{{"-MPI=Intel"}, "--rDEFAULT --mpi=intel -wait |", true},
                    reading{{"-mpi", "ms-mpi"}, "--rDEFAULT --mpi=msmpi -wait |", true},
                    reading{{"-mpi=", "intel", "x"}, "--rDEFAULT --mpi=intel -wait | x", true},
                    reading{{"-ic=ib", "-t2"}, "--rDEFAULT --mpi= --np=2 --ic=ib -wait |", true},
                    reading{{"--wait"}, "--rDEFAULT --mpi=net -wait |", true}),
    name_of);

namespace {

struct refusal {
  texts typed;
  std::string says;
};

const std::string is_solvers = ". If it is for the solver, put -- before the solver's arguments";
const std::string not_on_a_cluster =
    " cannot run on a cluster. Take -mpi=msmpi, -mpi=ibmmpi or -mpi=intel";
const std::string changed_on_a_cluster =
    ": a double quote or a %NAME% does not reach a solver on a cluster as it was typed. Put it "
    "into a file of the solver's";

class Refusals : public testing::TestWithParam<refusal> {};

}  // namespace

TEST_P(Refusals, SayWhatWasProbablyMeant) {
  const auto &[typed, says] = GetParam();
  EXPECT_EQ("REFUSED " + says + "\n", read_as(typed));
}

INSTANTIATE_TEST_SUITE_P(
    NearMisses, Refusals,
    testing::Values(
        refusal{{"-mpi", "intell"},
                "-mpi intell: probably -mpi=intel was meant; known are ibmmpi, intel, msmpi, "
                "mpich2, mpich or net"},
        refusal{{"-mpi=nmpu"},
                "-mpi=nmpu: probably -mpi=nmpi was meant; known are ibmmpi, intel, msmpi, mpich2, "
                "mpich or net"},
        refusal{{"-mpi", "plate.case"},
                "-mpi plate.case: -mpi is followed by the name of an MPI, such as -mpi=msmpi; "
                "-mpi= alone means the default"},
        refusal{{"-wiat"}, "-wiat: probably -wait was meant" + is_solvers},
        refusal{{"-mip=intel"}, "-mip=intel: probably -mpi was meant" + is_solvers},
        refusal{{"-mpitst"}, "-mpitst: probably -mpitest was meant" + is_solvers},
        refusal{{"-explian"}, "-explian: probably -explain was meant" + is_solvers},
        refusal{{"-hostflie=x"}, "-hostflie=x: probably -cnf was meant" + is_solvers},
        refusal{{"-n", "4"}, "-n: probably -t4 was meant" + is_solvers},
        refusal{{"-t"}, "-t: a value is needed, as in -t4"},
        refusal{{"-r"}, "-r: a value is needed, as in -r12"},
        refusal{{"-t", "four"}, "-t four: a number is needed, as in -t4"},
        refusal{{"-t4x"}, "-t4x: a number is needed, as in -t4"},
        refusal{{"-t1234567890"}, "-t1234567890: a number is needed, as in -t4"},
        refusal{{"-np_per_node=x"}, "-np_per_node=x: a number is needed, as in -t4"},
        refusal{{"-r", "new"},
                "-r new: a release is needed, as in -r12.0.1. zprun -list shows them"},
        refusal{{"-o"}, "-o: a value is needed, as in -o=12"},
        refusal{{"-o="}, "-o=: a value is needed, as in -o=12"},
        refusal{{"-ccp", "-t4"}, "-ccp: a value is needed, as in -ccp=12"},
        refusal{{"-jobid=x"}, "-jobid=x: the number of a job is needed, as in -jobid=12"},
        refusal{{"-host_ip=alpha"},
                "-host_ip=alpha: a host and its address are needed, as in "
                "-host_ip=alpha:10.0.0.1"},
        refusal{{"-unit=cores"},
                "-unit=cores: probably -unit=core was meant; known are processor, core, socket or "
                "node"},
        refusal{{"-pic=fast"},
                "-pic=fast: known are default, ib, infiniband, myri, myrinet or ethernet"},
        refusal{{"-cred_check=off"}, "-cred_check=off: known are no or yes"},
        refusal{
            {"-nowait", "-o", "t"},
            "-nowait and a report of the run (-o, -record): nobody is there at the end to write "
            "it"},
        refusal{
            {"-nowait", "-record=t"},
            "-nowait and a report of the run (-o, -record): nobody is there at the end to write "
            "it"},
        refusal{{"-mpi=net", "-t4"}, "-mpi=net runs one process, -t4 asks for more: name an MPI"},
        refusal{{"-mpi=mpich", "-t4"},
                "-mpi=mpich runs on the hosts of a host file: add -cnf=hosts.txt"},
        refusal{{"-ccp", "h", "-cnf=x", "-t4"},
                "-cnf and -ccp: on a cluster the scheduler chooses the hosts. Leave one of them "
                "out"},
        refusal{{"-ccp", "h", "-mpi=mpich2"}, "-mpi=mpich2" + not_on_a_cluster},
        refusal{{"-ccp", "h", "x"}, "-mpi=net" + not_on_a_cluster},
        refusal{{"-ccp", "h", "-t4", "--", "a%B%"}, "a%B%" + changed_on_a_cluster},
        refusal{{"-ccp", "h", "-t4", "--", "a%%"}, "a%%" + changed_on_a_cluster},
        refusal{{"-ccp", "h", "-t4", "--", "say \"hi\""}, "say \"hi\"" + changed_on_a_cluster}));

TEST(Arguments, SayWhatWasMended) {
  EXPECT_THAT(read_arguments({"-r12", ".0.1", "-np=4", "-t2"}).mended,
              ElementsAre("-r12 .0.1 was read as -r12.0.1", "-np=4 was read as -t4"));
}

// Other names of an option or an MPI, and what they are read as.
TEST(Arguments, HaveOtherNames) {
  const auto read_word = [](const std::string &word) { return read_arguments({word}).mended; };
  for (const auto &[typed, meant] :
       std::vector<std::pair<std::string, std::string>>{{"-np=4", "-t4"},
                                                        {"-nprocs=4", "-t4"},
                                                        {"-processes=4", "-t4"},
                                                        {"-release=7", "-r7"},
                                                        {"-hostfile=h", "-cnf=h"},
                                                        {"-machinefile=h", "-cnf=h"},
                                                        {"-ic=ib", "-pic=ib"},
                                                        {"-headnode=h", "-ccp=h"},
                                                        {"-job_id=3", "-jobid=3"},
                                                        {"-no_wait", "-nowait"},
                                                        {"-mpi=ms", "-mpi=msmpi"},
                                                        {"-mpi=ms-mpi", "-mpi=msmpi"},
                                                        {"-mpi=IntelMPI", "-mpi=intel"},
                                                        {"-mpi=intel-mpi", "-mpi=intel"},
                                                        {"-mpi=impi", "-mpi=intel"},
                                                        {"-mpi=platform", "-mpi=ibmmpi"},
                                                        {"-mpi=platform-mpi", "-mpi=ibmmpi"},
                                                        {"-mpi=hpmpi", "-mpi=ibmmpi"},
                                                        {"-mpi=serial", "-mpi=net"},
                                                        {"-mpi=none", "-mpi=net"},
                                                        {"-PIC=IB", "-pic=ib"},
                                                        {"-Unit=Node", "-unit=node"},
                                                        {"-cred_check=NO", "-cred_check=no"}}) {
    EXPECT_THAT(read_word(typed), ElementsAre(typed + " was read as " + meant));
  }
  for (const char *right : {"-mpi=ibmmpi", "-mpi=pcmpi", "-mpi=vmpi", "-mpi=smpi", "-mpi=nmpi",
                            "-pic=infiniband", "-pic=myri", "-pic=myrinet", "-pic=ethernet",
                            "-unit=processor", "-unit=core", "-unit=socket", "-cred_check=yes"}) {
    const typed_launch launch = read_arguments({right, "-cnf=h"});
    EXPECT_THAT(launch.mended, testing::IsEmpty()) << right;
    EXPECT_THAT(launch.refused, testing::IsEmpty()) << right;
  }
}

TEST(Arguments, KnowWhatIsAskedForInsteadOfARun) {
  EXPECT_EQ(zprun_task::check, read_arguments({"-check", "-t4"}).task);
  EXPECT_EQ(zprun_task::explain, read_arguments({"--explain"}).task);
  EXPECT_EQ(zprun_task::list, read_arguments({"-list"}).task);
  EXPECT_EQ(zprun_task::version, read_arguments({"-version"}).task);
  for (const char *help : {"-help", "-h", "-?", "/?", "--help"}) {
    EXPECT_EQ(zprun_task::help, read_arguments({help}).task) << help;
  }
  EXPECT_EQ(zprun_task::run, read_arguments({"--", "-check"}).task);
}

TEST(SolverLine, QuotesSoThatEachArgumentComesBackAsItWas) {
  EXPECT_EQ(
      R"( C:\z.exe a "b c" "" "say \"hi\"" "C:\my dir\\" C:\dir\ "x\\\"y" a&b)",
      solver_line("C:\\z.exe",
                  {"a", "b c", "", "say \"hi\"", "C:\\my dir\\", "C:\\dir\\", "x\\\"y", "a&b"},
                  false));
  EXPECT_EQ(" \"C:\\my z.exe\" \"a&b\" \"(c)\"", solver_line("C:\\my z.exe", {"a&b", "(c)"}, true));
}

TEST(NearMisses, CountEdits) {
  EXPECT_EQ(0, edit_distance("Intel", "intel"));
  EXPECT_EQ(1, edit_distance("intell", "intel"));
  EXPECT_EQ(1, edit_distance("wiat", "wait"));
  EXPECT_EQ(1, edit_distance("cnf", "ncf"));
  EXPECT_EQ(3, edit_distance("", "abc"));
  EXPECT_EQ("12.0.16", nearest("12.0.17", {"12.0.16", "6.3.26"}));
  EXPECT_EQ(std::nullopt, nearest("ab", {"ac"})) << "too short";
  EXPECT_EQ(std::nullopt, nearest("abc", {"abd", "abe"})) << "equally near";
  EXPECT_EQ("a, b or c", alternatives({"a", "b", "c"}));
}
