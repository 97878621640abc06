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
        if (::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        {
            ok = false;
        }
    }
    std::vector<char> seen(count, 0);
    for (const std::string& path : files)
    {
        std::ifstream in(path);
        std::string line;
        while (std::getline(in, line))
        {
            const size_t tab = line.find('\t');
            const size_t i = std::strtoul(line.substr(0, tab).c_str(), nullptr, 10);
            if (tab != std::string::npos && i < count)
            {
                out[i] = Decode(line.substr(tab + 1));
                seen[i] = 1;
            }
        }
        std::remove(path.c_str());
    }
    for (char s : seen)
    {
        ok = ok && s != 0;
    }
    return ok;
}

} // namespace qsolver::corpus
