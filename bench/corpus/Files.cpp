// Reading and writing the corpus files.
#include "Files.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace qsolver::corpus
{

namespace
{

std::string Path(const std::string& dir, const std::string& file)
{
    return dir + "/" + file;
}

bool Write(const std::string& path, const std::string& text, std::string& error)
{
    InputError e;
    if (!WriteFileAtomically(path, text, e))
    {
        error = e.Text();
        return false;
    }
    return true;
}

} // namespace

bool WriteEdit(const std::string& dir, const Edit& e, std::string& error)
{
    const std::string& id = e.sketch.relations[static_cast<size_t>(e.relation)].id;
    nlohmann::ordered_json j;
    j["family"] = e.family;
    j["what"] = e.what;
    j["relation"] = id;
    j["old"] = e.oldValue;
    j["new"] = e.newValue;
    j["steps"] = e.steps;
    j["command"] = "qsketch drive " + e.name + ".json --set " + id + "=" +
                   FormatNumber(e.newValue) + " -o out.json";
    j["reference"] = e.name + ".ref.json: the sketch solved at the new value, every part on "
                              "the side it started on";
    return Write(Path(dir, e.name + ".json"), FormatSketch(e.sketch), error) &&
           Write(Path(dir, e.name + ".edit.json"), j.dump(1) + "\n", error) &&
           Write(Path(dir, e.name + ".ref.json"), FormatSketch(e.reference), error);
}

bool WriteIndex(const std::string& dir, const std::string& header,
                const std::vector<std::string>& names, std::string& error)
{
    std::string text = "# " + header + "\n";
    for (const std::string& n : names)
    {
        text += n + "\n";
    }
    return Write(Path(dir, "index.txt"), text, error);
}

bool ReadIndex(const std::string& dir, std::vector<std::string>& names, std::string& error)
{
    std::ifstream in(Path(dir, "index.txt"));
    if (!in)
    {
        error = Path(dir, "index.txt") + ": cannot be read (run the generator first)";
        return false;
    }
    std::string line;
    while (std::getline(in, line))
    {
        if (!line.empty() && line[0] != '#')
        {
            names.push_back(line);
        }
    }
    return true;
}

bool ReadEdit(const std::string& dir, const std::string& name, Edit& e, std::string& error)
{
    InputError ie;
    if (!ReadSketchFile(Path(dir, name + ".json"), e.sketch, ie) ||
        !ReadSketchFile(Path(dir, name + ".ref.json"), e.reference, ie))
    {
        error = ie.Text();
        return false;
    }
    const std::string path = Path(dir, name + ".edit.json");
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    const nlohmann::json j = nlohmann::json::parse(text.str(), nullptr, false);
    if (!in || j.is_discarded() || !j.is_object() || !j.contains("relation") ||
        !j.contains("new") || !j["relation"].is_string() || !j["new"].is_number())
    {
        error = path + ": not an edit (it needs \"relation\" and \"new\")";
        return false;
    }
    e.name = name;
    e.family = j.value("family", "");
    e.what = j.value("what", "");
    e.relation = e.sketch.FindRelation(j["relation"].get<std::string>());
    if (e.relation < 0)
    {
        error = path + ": relation: no relation '" + j["relation"].get<std::string>() + "' in " +
                name + ".json";
        return false;
    }
    e.oldValue = e.sketch.relations[static_cast<size_t>(e.relation)].value;
    e.newValue = j["new"].get<double>();
    e.steps = j.value("steps", 0);
    return true;
}

} // namespace qsolver::corpus
