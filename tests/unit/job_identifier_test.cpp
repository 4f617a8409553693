// Tests of the lines in which the scheduler's tool names a job.
#include "scheduler/job_identifier.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

struct line_row {
  std::string line;
  int id;  // -1: it names none
};

TEST(JobIdentifier, IsReadFromItsLine) {
  const std::vector<line_row> rows = {
      // Both generations, and the line of a submission, with and without an end.
      {"Job queued, ID: 123\n", 123},
      {"Created job, ID: 190707\n", 190707},
      {"Created job, ID: 7", 7},
      {"Job has been submitted. ID: 42", 42},
      {"Job has been submitted. ID: 3490639.\n", 3490639},
      // At the beginning of the line.
      {" Created job, ID: 7\n", -1},
      {"The job: Created job, ID: 7\n", -1},
      {"\nCreated job, ID: 7\n", -1},
      // In exactly these words.
      {"created job, ID: 7\n", -1},
      {"CREATED JOB, ID: 7\n", -1},
      {"Created job, id: 7\n", -1},
      {"Created job, ID : 7\n", -1},
      {"Created job ID: 7\n", -1},
      {"Created job,  ID: 7\n", -1},
      {"job queued, ID: 7\n", -1},
      {"Job Queued, ID: 7\n", -1},
      {"Job queued: 7\n", -1},
      {"Job has been submitted, ID: 7\n", -1},
      {"Job has been submitted.  ID: 7\n", -1},
      {"job has been submitted. ID: 7\n", -1},
      // Behind any blanks or none, to its last digit.
      {"Created job, ID:7\n", 7},
      {"Job queued, ID:7\n", 7},
      {"Job queued, ID:   7\n", 7},
      {"Job has been submitted. ID:7\n", 7},
      {"Job has been submitted. ID:\t 7\n", 7},
      {"Created job, ID: 7abc\n", 7},
      {"Created job, ID: 7 8\n", 7},
      {"Created job, ID: 7,000\n", 7},
      {"Created job, ID: 007\r\n", 7},
      {"Created job, ID: 0\n", 0},
      {"Job queued, ID: 0\n", 0},
      {"Job has been submitted. ID: 0\n", 0},
      // Without a number.
      {"Job queued, ID:", -1},
      {"Job queued, ID: \n", -1},
      {"Created job, ID:\n", -1},
      {"Created job, ID: none\n", -1},
      {"Created job, ID: #7\n", -1},
      {"Job has been submitted. ID: -\n", -1},
      {"", -1},
      {"\n", -1},
      {"7\n", -1},
      {"ID: 7\n", -1},
      {"Created job", -1},
      // No further than the numbers go.
      {"Created job, ID: 2147483647\n", INT_MAX},
      {"Created job, ID: 2147483648\n", -1},
      {"Created job, ID: 4294967303\n", -1},
      {"Created job, ID: -2147483649\n", -1},
      {"Created job, ID: 99999999999999999999999\n", -1},
      // Not behind a zero byte.
      {"Created job, ID:\0 7\n"s, -1},
      {"Created job, ID: 7\0 8\n"s, 7},
      {"\0Created job, ID: 7\n"s, -1},
  };
  for (const auto &[line, id] : rows) {
    EXPECT_EQ(id, parse_job_id(line)) << line;
    // That of a submission is none of a new job.
    EXPECT_EQ(line.starts_with("Job has") ? -1 : id, parse_new_job_id(line)) << line;
  }
  for (const char *line : {"Created job, ID: -5\n", "Job queued, ID: -1\n",
                           "Job has been submitted. ID: -2147483648\n"}) {
    EXPECT_GT(0, parse_job_id(line)) << line;
    EXPECT_GT(0, parse_new_job_id(line)) << line;
  }
}

}  // namespace
