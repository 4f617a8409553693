// server_test.cpp: the head node as a program: whatever comes in on its
// socket, and whatever becomes of it, it goes on. Its jobs run without Slurm here.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>

#include "head_node/sockets.h"

namespace {

using namespace head_node;

class HeadNodeServer : public testing::Test {
 protected:
  void SetUp() override {
    auto pattern = (std::filesystem::temp_directory_path() / "head_node.XXXXXX").string();
    folder = mkdtemp(pattern.data());
    write_file(folder + "/settings", "without_slurm=true\n");
    start();
  }
  void TearDown() override {
    (void)call({"head_node", "end"});
    std::filesystem::remove_all(folder);
  }

  void start() {
    ASSERT_EQ(0, std::system((HEAD_NODE_PROGRAM " serve " + folder).c_str()));
    port = std::atoi(file_text(folder + "/port").c_str());
  }

  // Connects and asks, but does not wait for the answer.
  int ask(const texts &arguments) const {
    const int socket = connect_to(port);
    texts question = {"job", "C:\\tools", "jdoe", "HEADNODE"};
    question.insert(question.end(), arguments.begin(), arguments.end());
    EXPECT_TRUE(socket < 0 || send_message(socket, question));
    return socket;
  }

  static texts answer_from(int socket) {
    std::string bytes;
    texts answer;
    if (!receive_message(socket, bytes, answer)) {
      answer = {"no answer"};
    }
    close(socket);
    return answer;
  }

  [[nodiscard]] texts call(const texts &arguments) const { return answer_from(ask(arguments)); }

  void kill_server() const {
    (void)call({"head_node", "die"});
    for (int socket; (socket = connect_to(port)) >= 0;) {
      close(socket);  // it is not quite gone
    }
  }

  void send_bytes(const std::string &bytes, bool stay) {
    const int socket = connect_to(port);
    (void)send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);  // it may be refused half way
    if (stay) {
      left_open.push_back(socket);
    } else {
      close(socket);
    }
  }

  std::string folder;
  int port = 0;
  std::vector<int> left_open;
};

TEST_F(HeadNodeServer, SurvivesWhateverComesIn) {
  std::mt19937 random(1);
  for (std::size_t size : {1U, 10U, 1000U, 100'000U}) {
    std::string bytes(size, ' ');
    for (char &letter : bytes) {
      letter = static_cast<char>(random());
    }
    send_bytes(bytes, false);
    send_bytes("1000000:" + bytes, true);
  }
  const auto whole = encode({"job", "C:\\tools", "jdoe", "HEADNODE", "new"});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    send_bytes(whole.substr(0, size), size % 2 == 0);
  }
  for (const texts &message : {texts{}, texts{""}, texts{"job"}, texts{"keeper", "1", "", ""},
                               texts{"keeper", "x", "y", "z"}, texts{"new", "", "", ""}}) {
    send_bytes(encode(message), true);
  }
  EXPECT_EQ((texts{"Created job, ID: 1\r\n", "", "0"}), call({"new"}));
  for (const int socket : left_open) {
    close(socket);
  }
}

TEST_F(HeadNodeServer, Answers1000CallsAtOnce) {
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  std::vector<int> sockets;
  for (int count = 0; count < 1000; ++count) {
    sockets.push_back(ask({"new"}));
  }
  std::set<texts> answers;
  for (const int socket : sockets) {
    answers.insert(answer_from(socket));
  }
  EXPECT_EQ(1000U, answers.size());
  EXPECT_FALSE(answers.contains({"no answer"}));
  EXPECT_EQ((texts{"1000\r\n", "", "0"}), call({"head_node", "calls"}));
}

TEST_F(HeadNodeServer, KnowsItsJobsAgainAfterItWasKilled) {
  EXPECT_EQ("0", call({"new", "/jobname:first"}).back());
  EXPECT_EQ("0", call({"submit", "/id:1"}).back());
  EXPECT_NE("0", call({"submit", "/id:1"}).back());
  const auto before = call({"view", "1"});
  kill_server();
  // It was killed while it wrote.
  write_file(folder + "/events", file_text(folder + "/events") + "500:3:ver");
  start();
  EXPECT_EQ(before, call({"view", "1"}));
  EXPECT_EQ("Created job, ID: 2\r\n", call({"new"}).front());
  kill_server();
  std::filesystem::remove(folder + "/events");
  start();
  EXPECT_EQ((texts{"", "The job identifier 1 is invalid.\r\n", "1"}), call({"view", "1"}));
}

}  // namespace
