// job_identifier.h: finds the job's identifier in what the scheduler's tool prints.
#pragma once

#include <string>

#include "core/command_runner.h"

// The number that a rehearsal gives to a job which it did not make.
constexpr int assumed_job_id = 999'999;

// What the scheduler's tool is assumed to say of it.
std::string assumed_new_job();

// A question about a job; the answer is assumed when the job is.
tool_use asks_about_job(int job_id, const std::string &assumed_output);

// The identifier named in a line; -1 when there is none. Takes the lines that
// creating and submitting a job print.
int parse_job_id(const std::string &line);

// The same for the lines of creating alone.
int parse_new_job_id(const std::string &line);
