// Runs the built command as a shell would.
#pragma once

#include <sys/resource.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

inline std::string Sample(const std::string& name) { return std::string(KZ_SAMPLES "/") + name; }

struct Conditions {
  std::string output = {};                  // file for standard output; empty: it is returned
  int outputDescriptor = -1;                // the same, open already
  std::string input = {};                   // file for standard input; empty: the test's own
  std::vector<int> closed = {};             // descriptors that the program finds closed
  bool terminal = false;                    // output and error are a terminal, returned as out
  std::string folder = {};                  // to run in; empty: the test's own
  rlim_t fileSize = RLIM_INFINITY;          // bytes above which writes to a file fail
  int killAfter = -1;                       // microseconds until SIGKILL; -1: never
  std::vector<std::string> variables = {};  // NAME=value, beside the test's own
  std::string program = {};                 // empty: the one that was built
  bool ordinaryUser = false;                // when the test runs as root: as nobody
  rlim_t memory = RLIM_INFINITY;            // bytes of address space
  rlim_t processorTime = RLIM_INFINITY;     // seconds until SIGXCPU
  std::function<void(pid_t)> meet = {};     // is called once it runs
  unsigned patience = 0;                    // seconds until SIGALRM; 0: for ever
};

struct Result {
  int exit = -1;  // -1 when a signal ended the program
  int signal = 0;
  std::string out;
  std::string err;
  uint64_t memory = 0;  // bytes that it had at most, or the test's own when these are more
};

// The words of a command line. A word that begins with one of the names begins with
// what the name stands for: FILE:z-1.
std::vector<std::string> Words(const std::string& line,
                               const std::map<std::string, std::string>& names = {});

// Runs kzica with these arguments. Throws when that can't be done.
Result Kzica(const std::vector<std::string>& arguments, const Conditions& conditions = {});
