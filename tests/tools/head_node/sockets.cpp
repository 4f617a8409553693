// sockets.cpp: messages over sockets of this machine, and whole files.
#include "head_node/sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace head_node {

int connect_to(int port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) {
    return descriptor;
  }
  close(descriptor);
  return -1;
}

bool send_message(int socket, const texts &message) {
  const auto bytes = encode(message);
  for (std::size_t sent = 0; sent < bytes.size();) {
    const auto size = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (size < 0 && errno != EINTR) {
      return false;
    }
    sent += size > 0 ? static_cast<std::size_t>(size) : 0;
  }
  return true;
}

bool receive_message(int socket, std::string &bytes, texts &message) {
  std::array<char, 65536> part{};
  while (true) {
    const auto found = take_message(bytes, message);
    if (found != reading::incomplete) {
      return found == reading::complete;
    }
    const auto size = recv(socket, part.data(), part.size(), 0);
    if (size == 0 || (size < 0 && errno != EINTR)) {
      return false;
    }
    bytes.append(part.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  }
}

std::string file_text(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &text) {
  const auto unfinished = path + ".new";
  std::ofstream(unfinished, std::ios::binary) << text;
  (void)std::rename(unfinished.c_str(), path.c_str());  // a reader then misses it, and says so
}

}  // namespace head_node
