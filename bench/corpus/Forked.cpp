// Forked workers, each writing its results to a file of its own that the parent reads back.
#include "Forked.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace qsolver::corpus
{

namespace
{

// Results are one record a line: newlines inside a result travel as this character.
const char kNewline = '\x1f';

std::string Encode(std::string s)
{
    for (char& c : s)
    {
        c = c == '\n' ? kNewline : c;
    }
    return s;
}

std::string Decode(std::string s)
{
    for (char& c : s)
    {
        c = c == kNewline ? '\n' : c;
    }
    return s;
}

// Reads a worker's results into `out`, marks them seen, and removes the file.
void Collect(const std::string& path, std::vector<std::string>& out, std::vector<char>& seen)
{
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line))
    {
        const size_t tab = line.find('\t');
        const size_t i = std::strtoul(line.substr(0, tab).c_str(), nullptr, 10);
        if (tab != std::string::npos && i < out.size())
        {
            out[i] = Decode(line.substr(tab + 1));
            seen[i] = 1;
        }
    }
    in.close();
    std::remove(path.c_str());
}

} // namespace

bool ForEachForked(size_t count, int jobs, const std::function<std::string(size_t, int)>& work,
                   std::vector<std::string>& out)
{
    out.assign(count, std::string());
    if (jobs <= 1)
    {
        for (size_t i = 0; i < count; ++i)
        {
            out[i] = work(i, 0);
        }
        return true;
    }
    std::fflush(nullptr);
    std::vector<std::string> files;
    std::vector<pid_t> pids;
    bool ok = true;
    for (int k = 0; k < jobs; ++k)
    {
        char path[] = "/tmp/qsolver_corpus_XXXXXX";
        const int fd = ::mkstemp(path);
        if (fd < 0)
        {
            ok = false;
            break;
        }
        ::close(fd);
        files.push_back(path);
        const pid_t pid = ::fork();
        if (pid < 0)
        {
            ok = false;
            break;
        }
        if (pid == 0)
        {
            std::ofstream file(path);
            for (size_t i = static_cast<size_t>(k); i < count; i += static_cast<size_t>(jobs))
            {
                file << i << '\t' << Encode(work(i, k)) << '\n';
                file.flush();
            }
            std::fflush(nullptr);
            ::_exit(file ? 0 : 1);
        }
        pids.push_back(pid);
    }
    for (pid_t pid : pids)
    {
        int status = 0;
        ::waitpid(pid, &status, 0);
    }
    std::vector<char> seen(count, 0);
    for (const std::string& path : files)
    {
        Collect(path, out, seen);
    }
    if (!ok)
    {
        return false;
    }
    // A worker that died (a crash in a solver) left the rest of its share undone: each of those
    // runs again in a process of its own, so that one crash costs one result, left empty.
    for (size_t i = 0; i < count; ++i)
    {
        if (seen[i])
        {
            continue;
        }
        char path[] = "/tmp/qsolver_corpus_XXXXXX";
        const int fd = ::mkstemp(path);
        if (fd < 0)
        {
            return false;
        }
        ::close(fd);
        std::fflush(nullptr);
        const pid_t pid = ::fork();
        if (pid < 0)
        {
            return false;
        }
        if (pid == 0)
        {
            std::ofstream file(path);
            file << i << '\t' << Encode(work(i, 1)) << '\n';
            file.flush();
            std::fflush(nullptr);
            ::_exit(file ? 0 : 1);
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        Collect(path, out, seen);
    }
    return true;
}

} // namespace qsolver::corpus
