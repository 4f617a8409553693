// smpd_installer.h: installs or starts the SMPD service of MPICH2 on request.
#pragma once

#include <optional>
#include <string>

// Without a request, does nothing. Otherwise installs the service, or starts it
// when --start_smpd was given, reports and ends the program: status 0 on success
// and always after a start, 1 on any failure.
//
// `request` is an MPICH2 installation folder, or a text shorter than two
// characters for the MPICH2 that comes with the release.
void install_mpich2_smpd(const std::optional<std::string> &request);
