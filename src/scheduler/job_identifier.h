// job_identifier.h: finds the job's identifier in what the scheduler's tool prints.
#pragma once

#include <string>

// The identifier named in a line; -1 when there is none. Takes the lines that
// creating and submitting a job print.
int parse_job_id(const std::string &line);

// The same for the lines of creating alone.
int parse_new_job_id(const std::string &line);
