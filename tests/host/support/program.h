#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_folder.h"

// What a run of the program left behind.
struct SRunResult {
  int status = -1;  // 128 + n when signal n ended it
  std::string out;
  std::string err;

  nlohmann::json Json() const;  // of `out`; a failure of the test when it is none
};

// Runs the built program as a user would, with a home of its own so that no real cache is touched.
class CProgram {
 public:
  CProgram();

  SRunResult Run(const std::vector<std::string>& arguments);
  // With a terminal for standard error.
  SRunResult RunOnTerminal(const std::vector<std::string>& arguments, unsigned short columns = 80);
  // As Run, with the program started by another one, `launcher`, that is given it and the arguments.
  SRunResult RunUnder(std::vector<std::string> launcher, const std::vector<std::string>& arguments);
  // As Run, with --db of a database in the folder behind the verb.
  SRunResult RunWithDatabase(std::vector<std::string> arguments);

  // A run that is still going on.
  class CProcess {
   public:
    // Standard error goes to the file or terminal `err`; to a file of its own when it is empty.
    CProcess(const CProgram& program, const std::vector<std::string>& arguments, const std::string& err = {},
             std::vector<std::string> launcher = {});
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;
    void Signal(int number) const { m_process->Signal(number); }
    SRunResult Wait();
    // Waits some seconds until it has printed so many lines.
    void WaitForLines(std::size_t count) const;
    // The first line that it prints, for which it is waited some seconds; empty when none comes.
    std::string FirstLine() const;

   private:
    std::string m_out, m_err;  // files
    std::optional<qvtest::CChildProcess> m_process;
  };

  const qvtest::CTempFolder& Folder() const { return m_folder; }
  std::string Database() const { return m_folder.Path("cache.db"); }
  std::string DefaultDatabase() const { return m_folder.Path("home/.cache/qvthumbs/OrbThumbCache.db"); }
  void SetEnvironment(const std::string& assignment) { m_environment.push_back(assignment); }

 private:
  qvtest::CTempFolder m_folder;
  std::vector<std::string> m_environment;
};
