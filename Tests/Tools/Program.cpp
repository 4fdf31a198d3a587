#include "Tests/Tools/Program.h"

#include <fcntl.h>
#include <grp.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>
#include <stdexcept>

namespace {

int MemoryFile(const char* name) {
  const int file = memfd_create(name, MFD_CLOEXEC);
  if (file < 0) throw std::runtime_error("no memory file");
  return file;
}

std::string TakeContent(int file) {
  std::string content(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
  if (pread(file, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
    throw std::runtime_error("output can't be read back");
  }
  close(file);
  return content;
}

constexpr uid_t kNobody = 65534;

void Limit(decltype(RLIMIT_AS) resource, rlim_t value) {
  const rlimit limit = {value, value};
  if (value != RLIM_INFINITY && setrlimit(resource, &limit) != 0) _exit(126);
}

[[noreturn]] void BecomeKzica(std::vector<char*>& arguments, const Conditions& conditions, int out,
                              int err) {
  if (!conditions.output.empty()) {
    out = open(conditions.output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  }
  if (conditions.outputDescriptor >= 0) out = conditions.outputDescriptor;
  if (!conditions.input.empty()) dup2(open(conditions.input.c_str(), O_RDONLY), STDIN_FILENO);
  if (!conditions.folder.empty() && chdir(conditions.folder.c_str()) != 0) _exit(126);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  for (const std::string& variable : conditions.variables) {
    putenv(const_cast<char*>(variable.c_str()));
  }
  if (conditions.ordinaryUser && geteuid() == 0 &&
      (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
    _exit(126);
  }
  for (const int descriptor : conditions.closed) close(descriptor);
  Limit(RLIMIT_FSIZE, conditions.fileSize);
  // What malloc may reserve for a thread, without using it, would count.
  if (conditions.memory != RLIM_INFINITY) setenv("MALLOC_ARENA_MAX", "1", 1);
  Limit(RLIMIT_AS, conditions.memory);
  Limit(RLIMIT_CPU, conditions.processorTime);
  for (const int sent : {SIGINT, SIGTERM, SIGHUP}) signal(sent, SIG_DFL);
  alarm(conditions.patience);
  execv(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

std::vector<std::string> Words(const std::string& line,
                               const std::map<std::string, std::string>& names) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word; words.push_back(word)) {
    for (const auto& [name, meaning] : names) {
      if (word.starts_with(name)) word.replace(0, name.size(), meaning);
    }
  }
  return words;
}

Result Kzica(const std::vector<std::string>& arguments, const Conditions& conditions) {
  std::string program = conditions.program.empty() ? KZ_COMMAND : conditions.program;
  std::vector<char*> pointers = {program.data()};
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  const int out = MemoryFile("out");
  const int err = MemoryFile("err");
  int master = -1, terminal = -1;
  if (conditions.terminal && openpty(&master, &terminal, nullptr, nullptr, nullptr) != 0) {
    throw std::runtime_error("no terminal");
  }
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    if (conditions.terminal) close(master);
    BecomeKzica(pointers, conditions, conditions.terminal ? terminal : out,
                conditions.terminal ? terminal : err);
  }
  if (conditions.terminal) {
    close(terminal);
    char piece[4096];
    for (ssize_t n; (n = read(master, piece, sizeof(piece))) > 0;) {
      if (write(out, piece, static_cast<size_t>(n)) != n) throw std::runtime_error("no room");
    }
    close(master);
  }
  if (conditions.killAfter >= 0) {
    usleep(static_cast<useconds_t>(conditions.killAfter));
    kill(child, SIGKILL);
  }
  if (conditions.meet) conditions.meet(child);
  int status = 0;
  rusage usage = {};
  if (wait4(child, &status, 0, &usage) != child) throw std::runtime_error("no exit status");
  Result result;
  result.memory = static_cast<uint64_t>(usage.ru_maxrss) << 10;
  if (WIFEXITED(status)) result.exit = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  result.out = TakeContent(out);
  result.err = TakeContent(err);
  return result;
}
