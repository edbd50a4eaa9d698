#include "ChildProcess.h"

#include "Bench.h"

#include <array>
#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace bench {
namespace {

class FileActions {
public:
  FileActions() { posix_spawn_file_actions_init(&m_actions); }
  ~FileActions() { posix_spawn_file_actions_destroy(&m_actions); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void Open(int descriptor, const std::string& path, int flags) {
    constexpr mode_t readableByAll = 0644;
    posix_spawn_file_actions_addopen(&m_actions, descriptor, path.c_str(), flags, readableByAll);
  }
  void Use(int descriptor, int source) { posix_spawn_file_actions_adddup2(&m_actions, source, descriptor); }
  const posix_spawn_file_actions_t* Get() const { return &m_actions; }

private:
  posix_spawn_file_actions_t m_actions{};
};

pid_t start(const std::vector<std::string>& command, const FileActions& actions) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  pid_t process = -1;
  require(posix_spawnp(&process, arguments[0], actions.Get(), nullptr, arguments.data(), environ) == 0,
          "cannot start " + command.front());
  return process;
}

constexpr double nanosecond = 1e-9;
constexpr double microsecond = 1e-6;

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * microsecond;
}

} // namespace

double secondsOf(const std::vector<std::string>& command, const std::string& inputFile,
                 const std::string& outputFile) {
  FileActions actions;
  actions.Open(STDIN_FILENO, inputFile, O_RDONLY);
  actions.Open(STDOUT_FILENO, outputFile, O_WRONLY | O_CREAT | O_TRUNC);
  const pid_t process = start(command, actions);
  int status = -1;
  rusage use{};
  while (wait4(process, &status, 0, &use) < 0 && errno == EINTR) {}
  require(WIFEXITED(status) && WEXITSTATUS(status) == 0, command.front() + " failed");
  return secondsOf(use.ru_utime) + secondsOf(use.ru_stime);
}

Companion::Companion(const std::vector<std::string>& command) {
  std::array<int, 2> questions{};
  std::array<int, 2> answers{};
  require(pipe2(questions.data(), O_CLOEXEC) == 0 && pipe2(answers.data(), O_CLOEXEC) == 0, "no pipe");
  FileActions actions;
  actions.Use(STDIN_FILENO, questions[0]);
  actions.Use(STDOUT_FILENO, answers[1]);
  m_process = start(command, actions);
  close(questions[0]);
  close(answers[1]);
  m_questions = questions[1];
  m_answers = answers[0];
}

Companion::~Companion() {
  close(m_questions);
  close(m_answers);
  waitpid(m_process, nullptr, 0);
}

void Companion::Ask() {
  require(write(m_questions, "\n", 1) == 1, "a program that was started does not listen");
}

std::string Companion::Answer() {
  std::string line;
  char character = '\0';
  while (read(m_answers, &character, 1) == 1 && character != '\n') {
    line += character;
  }
  require(character == '\n', "a program that was started ended");
  return line;
}

double Companion::Seconds() const {
  clockid_t clock{};
  timespec time{};
  require(clock_getcpuclockid(m_process, &clock) == 0 && clock_gettime(clock, &time) == 0,
          "a program that was started has no clock");
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * nanosecond;
}

} // namespace bench
