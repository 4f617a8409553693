// sockets.h: what the head node and the keepers of its allocations do with sockets,
// files and processes of Linux.
#pragma once

#include <string>

#include "head_node/wire.h"

namespace head_node {

// Connects to a port of this machine; -1 when nobody listens there.
int connect_to(int port);

// Sends a message; false when the other side is gone.
bool send_message(int socket, const texts &message);

// Waits for the next message; false when there will be none: the other side is gone,
// what it sends is no message, or the socket's time limit is over. `bytes` keeps
// what came too early.
bool receive_message(int socket, std::string &bytes, texts &message);

// A whole file; empty when it cannot be read.
std::string file_text(const std::string &path);

// Puts a file in its place in one go.
void write_file(const std::string &path, const std::string &text);

// Keeps the nodes of a job that Slurm has started: says so to the head node, starts
// the tasks that it names, and tells it when they end. Ends, with the allocation, when
// the head node says so or stays away. Gives back an exit status.
int keep_allocation(const std::string &folder, const std::string &job, const texts &nodes);

}  // namespace head_node
