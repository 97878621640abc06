// Running the built qsketch from tests: finding it beside the test binary, a scratch directory
// per test, and the example sketches in the source tree.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace clitest
{

namespace fs = std::filesystem;

/// The qsketch binary of this build tree, or an empty path when it was not built.
inline fs::path QsketchPath()
{
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (ec)
    {
        return {};
    }
    const fs::path candidate = self.parent_path() / ".." / "tools" / "qsketch" / "qsketch";
    return fs::exists(candidate, ec) ? fs::canonical(candidate, ec) : fs::path();
}

// From the build: __FILE__ may be relative (a compiler cache rewrites it), the binary may run
// from anywhere.
inline fs::path SourceRoot()
{
    return fs::path(QSOLVER_SOURCE_ROOT);
}

inline fs::path Example(const std::string& name)
{
    return SourceRoot() / "examples" / name;
}

inline std::string ReadText(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void WriteText(const fs::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

/// A fresh directory, removed with everything in it at the end of the test.
class ScratchDir
{
public:
    ScratchDir()
    {
        std::string pattern = (fs::temp_directory_path() / "qsketch-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr)
        {
            m_path = pattern;
        }
    }
    ~ScratchDir()
    {
        std::error_code ec;
        fs::remove_all(m_path, ec);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const fs::path& Path() const { return m_path; }
    fs::path operator/(const std::string& name) const { return m_path / name; }
    /// Names of the files in the directory, to check that nothing was written.
    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_path))
        {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

private:
    fs::path m_path;
};

struct RunResult
{
    int code = -1;
    std::string out;
    std::string err;
};

inline std::string ShellQuote(const std::string& s)
{
    std::string out = "'";
    for (char ch : s)
    {
        out += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
    }
    return out + "'";
}

/// Runs qsketch with the arguments in `dir` and collects its exit code and output.
inline RunResult RunQsketch(const std::vector<std::string>& args, const ScratchDir& dir)
{
    RunResult result;
    std::string command =
        "cd " + ShellQuote(dir.Path().string()) + " && " + ShellQuote(QsketchPath().string());
    for (const std::string& arg : args)
    {
        command += " " + ShellQuote(arg);
    }
    const fs::path out = dir.Path().parent_path() / (dir.Path().filename().string() + ".out");
    const fs::path err = dir.Path().parent_path() / (dir.Path().filename().string() + ".err");
    command += " >" + ShellQuote(out.string()) + " 2>" + ShellQuote(err.string());
    const int status = std::system(command.c_str());
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadText(out);
    result.err = ReadText(err);
    std::error_code ec;
    fs::remove(out, ec);
    fs::remove(err, ec);
    return result;
}

} // namespace clitest

/// Skips the test when qsketch was not built (the tools are optional).
#define QSKETCH_REQUIRED()                                                                         \
    do                                                                                             \
    {                                                                                              \
        if (clitest::QsketchPath().empty())                                                        \
        {                                                                                          \
            GTEST_SKIP() << "qsketch was not built";                                               \
        }                                                                                          \
    } while (0)
