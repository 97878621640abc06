// qsketch: the reference host of Qsolver. Parses the command line and runs one command.
#include "Commands.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace
{

const char* const kUsage =
    "usage: qsketch [demo]                 run the built-in example, write demo.svg\n"
    "       qsketch analyse FILE [--svg OUT.svg]  clusters, verdict, freedoms, node status\n"
    "       qsketch drive FILE --set REL=VALUE [--set ...] [-o OUT.json] [--svg OUT.svg]\n"
    "                                      change dimensions and re-solve in one pass\n"
    "       qsketch drag FILE --point P --to X,Y [-o OUT.json] [--svg OUT.svg]\n"
    "                                      move a point as near to X,Y as the relations let it\n"
    "       qsketch render FILE [-o OUT.svg]\n"
    "       qsketch export FILE --dxf OUT.dxf  a format 2 sketch as R12 DXF\n"
    "options: --json  print a machine-readable report\n"
    "exit codes: 0 done, 1 the solver reported failure, contradiction or over-constraint,\n"
    "            2 bad input\n";

bool IsCommand(const std::string& word)
{
    return word == "demo" || word == "analyse" || word == "analyze" || word == "drive" ||
           word == "render" || word == "drag" || word == "export";
}

int Run(int argc, char** argv)
{
    qsketch::Options options;
    std::string problem;
    for (int i = 1; i < argc && problem.empty(); ++i)
    {
        const std::string arg = argv[i];
        // Options that take a value: the value is the next word.
        auto value = [&](std::string& into, const char* name)
        {
            if (i + 1 >= argc)
            {
                problem = std::string(name) + " needs a value";
                return;
            }
            if (!into.empty() && std::strcmp(name, "--set") != 0)
            {
                problem = std::string(name) + " is given twice";
                return;
            }
            into = argv[++i];
        };
        if (arg == "--json")
        {
            options.json = true;
        }
        else if (arg == "-h" || arg == "--help" || arg == "help")
        {
            std::fputs(kUsage, stdout);
            return qsketch::kDone;
        }
        else if (arg == "--set")
        {
            std::string set;
            value(set, "--set");
            options.sets.push_back(set);
        }
        else if (arg == "--point")
        {
            value(options.point, "--point");
        }
        else if (arg == "--to")
        {
            value(options.to, "--to");
        }
        else if (arg == "-o")
        {
            value(options.out, "-o");
        }
        else if (arg == "--svg")
        {
            value(options.svg, "--svg");
        }
        else if (arg == "--dxf")
        {
            value(options.dxf, "--dxf");
        }
        else if (!arg.empty() && arg[0] == '-')
        {
            problem = "unknown option " + arg;
        }
        else if (options.command.empty() && IsCommand(arg))
        {
            options.command = arg == "analyze" ? "analyse" : arg;
        }
        else if (options.command.empty())
        {
            problem = "unknown command " + arg;
        }
        else if (options.file.empty() && options.command != "demo")
        {
            options.file = arg;
        }
        else
        {
            problem = "unexpected argument " + arg;
        }
    }
    if (options.command.empty())
    {
        options.command = "demo";
    }
    if (problem.empty() && options.command != "demo" && options.file.empty())
    {
        problem = options.command + " needs a sketch FILE";
    }
    if (problem.empty() && options.command != "drag" &&
        (!options.point.empty() || !options.to.empty()))
    {
        problem = "--point and --to belong to drag";
    }
    if (problem.empty() && options.command == "drag" &&
        (options.point.empty() || options.to.empty() || !options.sets.empty()))
    {
        problem =
            options.sets.empty() ? "drag needs --point P and --to X,Y" : "--set belongs to drive";
    }
    if (problem.empty() && options.command != "drive" && options.command != "drag" &&
        (!options.sets.empty() || (!options.svg.empty() && options.command != "analyse")))
    {
        problem = options.sets.empty()
                      ? "--svg belongs to drive, drag and analyse (render writes with -o)"
                      : "--set belongs to drive";
    }
    if (problem.empty() && options.command == "analyse" && !options.out.empty())
    {
        problem = "analyse writes no file (-o belongs to drive, render and demo)";
    }
    if (problem.empty() && options.command == "drive" && options.sets.empty())
    {
        problem = "drive needs at least one --set REL=VALUE";
    }
    if (problem.empty() && !options.out.empty() && options.out == options.svg)
    {
        problem = "-o and --svg name the same file";
    }
    if (problem.empty() && (options.command == "export") != !options.dxf.empty())
    {
        problem = options.dxf.empty() ? "export needs --dxf OUT.dxf" : "--dxf belongs to export";
    }
    if (!problem.empty())
    {
        const int code = qsketch::UsageError(options, problem);
        if (!options.json)
        {
            std::fputs(kUsage, stderr);
        }
        return code;
    }
    if (options.command == "export")
    {
        return qsketch::RunExport(options);
    }
    if (options.command != "demo" && qsketch::IsVocabFile(options.file))
    {
        return options.command == "analyse" ? qsketch::RunVocabAnalyse(options)
               : options.command == "drag"  ? qsketch::RunVocabDrag(options)
               : options.command == "drive" ? qsketch::RunVocabDrive(options)
                                            : qsketch::RunVocabRender(options);
    }
    if (options.command == "analyse")
    {
        return qsketch::RunAnalyse(options);
    }
    if (options.command == "drive")
    {
        return qsketch::RunDrive(options);
    }
    if (options.command == "drag")
    {
        return qsketch::RunDrag(options);
    }
    if (options.command == "render")
    {
        return qsketch::RunRender(options);
    }
    return qsketch::RunDemo(options);
}

} // namespace

int main(int argc, char** argv)
{
    // The host layer reports by results; anything thrown (out of memory) still ends as a
    // message and the bad-input code rather than an abort.
    try
    {
        return Run(argc, argv);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "qsketch: %s\n", e.what());
        return qsketch::kBadInput;
    }
}
