// Tests of the lines in which the scheduler's tool names a job.
#include "scheduler/job_identifier.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

TEST(JobIdentifier, IsReadFromTheLineOfTheFirstGeneration) {
  EXPECT_EQ(123, parse_job_id("Job queued, ID: 123\n"));
  EXPECT_EQ(123, parse_new_job_id("Job queued, ID: 123\n"));
}

TEST(JobIdentifier, IsReadFromTheLineOfTheLaterGenerations) {
  EXPECT_EQ(190707, parse_job_id("Created job, ID: 190707\n"));
  EXPECT_EQ(190707, parse_new_job_id("Created job, ID: 190707\n"));
}

TEST(JobIdentifier, IsReadFromTheLineOfASubmission) {
  EXPECT_EQ(42, parse_job_id("Job has been submitted. ID: 42"));
  EXPECT_EQ(3490639, parse_job_id("Job has been submitted. ID: 3490639.\n"));
}

TEST(JobIdentifier, OfASubmissionIsNoneOfANewJob) {
  EXPECT_EQ(-1, parse_new_job_id("Job has been submitted. ID: 42\n"));
}

TEST(JobIdentifier, MustStandAtTheBeginningOfTheLine) {
  EXPECT_EQ(-1, parse_job_id(" Created job, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("The job: Created job, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("\nCreated job, ID: 7\n"));
}

TEST(JobIdentifier, IsIntroducedInExactlyTheseWords) {
  EXPECT_EQ(-1, parse_job_id("created job, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("CREATED JOB, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Created job, id: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Created job, ID : 7\n"));
  EXPECT_EQ(-1, parse_job_id("Created job ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Created job,  ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("job queued, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Job Queued, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Job queued: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Job has been submitted, ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Job has been submitted.  ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("job has been submitted. ID: 7\n"));
}

TEST(JobIdentifier, MayFollowAnyBlanksOrNone) {
  EXPECT_EQ(7, parse_job_id("Created job, ID:7\n"));
  EXPECT_EQ(7, parse_job_id("Job queued, ID:7\n"));
  EXPECT_EQ(7, parse_job_id("Job queued, ID:   7\n"));
  EXPECT_EQ(7, parse_job_id("Job has been submitted. ID:7\n"));
  EXPECT_EQ(7, parse_job_id("Job has been submitted. ID:\t 7\n"));
}

TEST(JobIdentifier, EndsWithItsLastDigit) {
  EXPECT_EQ(7, parse_job_id("Created job, ID: 7abc\n"));
  EXPECT_EQ(7, parse_job_id("Created job, ID: 7 8\n"));
  EXPECT_EQ(7, parse_job_id("Created job, ID: 7,000\n"));
  EXPECT_EQ(7, parse_job_id("Created job, ID: 007\r\n"));
}

TEST(JobIdentifier, MayBeZero) {
  EXPECT_EQ(0, parse_job_id("Created job, ID: 0\n"));
  EXPECT_EQ(0, parse_new_job_id("Job queued, ID: 0\n"));
  EXPECT_EQ(0, parse_job_id("Job has been submitted. ID: 0\n"));
}

TEST(JobIdentifier, IsMissingWithoutANumber) {
  EXPECT_EQ(-1, parse_job_id("Job queued, ID:"));
  EXPECT_EQ(-1, parse_job_id("Job queued, ID: \n"));
  EXPECT_EQ(-1, parse_job_id("Created job, ID:\n"));
  EXPECT_EQ(-1, parse_job_id("Created job, ID: none\n"));
  EXPECT_EQ(-1, parse_job_id("Created job, ID: #7\n"));
  EXPECT_EQ(-1, parse_job_id("Job has been submitted. ID: -\n"));
}

TEST(JobIdentifier, IsMissingInOtherLines) {
  EXPECT_EQ(-1, parse_job_id(""));
  EXPECT_EQ(-1, parse_job_id("\n"));
  EXPECT_EQ(-1, parse_job_id("7\n"));
  EXPECT_EQ(-1, parse_job_id("ID: 7\n"));
  EXPECT_EQ(-1, parse_job_id("Created job"));
}

TEST(JobIdentifier, IsNeverNegative) {
  EXPECT_GT(0, parse_job_id("Created job, ID: -5\n"));
  EXPECT_GT(0, parse_new_job_id("Job queued, ID: -1\n"));
  EXPECT_GT(0, parse_job_id("Job has been submitted. ID: -2147483648\n"));
}

TEST(JobIdentifier, MayBeTheLargestNumber) {
  EXPECT_EQ(INT_MAX, parse_job_id("Created job, ID: 2147483647\n"));
  for (const char *text : {"2147483648", "4294967303", "-2147483649", "99999999999999999999999"}) {
    EXPECT_EQ(-1, parse_job_id("Created job, ID: " + std::string(text) + "\n")) << text;
  }
}

TEST(JobIdentifier, IsNotReadBehindAZeroByte) {
  using namespace std::string_literals;
  EXPECT_EQ(-1, parse_job_id("Created job, ID:\0 7\n"s));
  EXPECT_EQ(7, parse_job_id("Created job, ID: 7\0 8\n"s));
  EXPECT_EQ(-1, parse_job_id("\0Created job, ID: 7\n"s));
}

TEST(JobIdentifier, StandsInALineWithoutALineEnd) {
  EXPECT_EQ(7, parse_job_id("Created job, ID: 7"));
}

}  // namespace
