// A host on the Sketch API: builds a sketch by id, analyses it, changes a dimension, reads the
// moved geometry and writes the sketch file text.
#include <qsolver/Sketch.h>
#include <qsolver/SketchDrive.h>
#include <qsolver/SketchFile.h>

#include <cmath>
#include <cstdio>

int main()
{
    qsolver::Sketch sketch;
    sketch.AddPoint("A", 0, 0);
    sketch.AddPoint("B", 4, 0);
    sketch.AddPoint("C", 0, 3);
    sketch.AddLine("base", 0, 0, 1, 0);
    sketch.AddFix("fixA", "A");
    sketch.AddFix("fixBase", "base");
    sketch.AddPLdis("bOnBase", "B", "base", qsolver::ValueSpec::Own(0));
    sketch.AddPPdis("ab", "A", "B", qsolver::ValueSpec::Own(4));
    sketch.AddPPdis("ac", "A", "C", qsolver::ValueSpec::Own(3));
    if (sketch.AddPPdis("bc", "B", "C", qsolver::ValueSpec::Own(5)) == nullptr)
    {
        std::printf("refused: %s\n", sketch.LastError().c_str());
        return 1;
    }

    const qsolver::AnalysisResult analysis = sketch.Analyse();
    std::printf("analysis: %s, %zu clusters\n", qsolver::VerdictText(analysis.verdict),
                analysis.clusters.size());

    const qsolver::DriveResult drive = sketch.Drive({{"ab", 6.0}});
    if (!drive.IsOk())
    {
        std::printf("drive failed: %s\n", qsolver::DriveStepText(drive.failed));
        return 1;
    }
    const CVert* b = sketch.FindPoint("B");
    const CVert* c = sketch.FindPoint("C");
    std::printf("B = (%g, %g), C = (%g, %g)\n", b->m_Pos.x, b->m_Pos.y, c->m_Pos.x, c->m_Pos.y);
    const double bc = std::hypot(b->m_Pos.x - c->m_Pos.x, b->m_Pos.y - c->m_Pos.y);

    // A sketch file read from text, through the same library.
    qsolver::SketchDoc doc;
    qsolver::InputError error;
    const char* text = R"({"nodes": [{"id": "P", "type": "point", "at": [1, 2]}]})";
    const bool parsed = qsolver::ParseSketch(text, "inline", doc, error);
    std::printf("%s", qsolver::FormatSketch(doc).c_str());

    const bool ok = analysis.IsOk() && std::fabs(b->m_Pos.x - 6) < 1e-9 &&
                    std::fabs(bc - 5) < 1e-9 && parsed && doc.nodes.size() == 1;
    std::printf(ok ? "sketch consumer ok\n" : "sketch consumer FAILED\n");
    return ok ? 0 : 1;
}
