// Every constraint of the vocabulary on a whole sketch: it holds where it is drawn, the sketch
// analyses, and after a drive that moves what it ties together it still means what it says
// (a tangent stays tangent on the same side, a mirrored pair stays mirrored).
#include "qsolver/Vocab.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

using namespace qsolver;

namespace
{

const double kPi = std::acos(-1.0);

struct P
{
    double x;
    double y;
};

P At(const VocabSketch& s, const std::string& id)
{
    const VocabEntity* e = s.FindEntity(id);
    EXPECT_NE(e, nullptr) << id;
    return e != nullptr ? P{e->x, e->y} : P{0, 0};
}

double Dist(P a, P b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

void Must(bool ok, const VocabSketch& s)
{
    ASSERT_TRUE(ok) << s.LastError();
}

// A fixed origin O and a horizontal segment O-B of the given length: most rows hang on it.
void Base(VocabSketch& s, double length)
{
    Must(s.AddPoint("O", 0, 0), s);
    Must(s.AddPoint("B", length, 0), s);
    Must(s.AddSegment("base", "O", "B"), s);
    Must(s.Constrain("fixO", ConstraintType::Fix, {"O"}), s);
    Must(s.Constrain("flat", ConstraintType::Horizontal, {"base"}), s);
    Must(s.Constrain("baseLen", ConstraintType::Length, {"base"}, length), s);
}

struct Row
{
    const char* name;
    std::function<void(VocabSketch&)> draw;
    std::vector<std::pair<std::string, double>> changes;
    std::function<void(const VocabSketch&)> expect;
};

const double kTol = 1e-6;

std::vector<Row> Rows()
{
    using T = ConstraintType;
    return {
        {"CoincidentEndsFollow",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("C", 10, 0), s);
             Must(s.AddPoint("D", 10, 6), s);
             Must(s.AddSegment("up", "C", "D"), s);
             Must(s.Constrain("join", T::Coincident, {"B", "C"}), s);
             Must(s.Constrain("upright", T::Vertical, {"up"}), s);
             Must(s.Constrain("upLen", T::Length, {"up"}, 6), s);
         },
         {{"baseLen", 14}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "C").x, 14, kTol);
             EXPECT_NEAR(At(s, "D").x, 14, kTol);
             EXPECT_NEAR(At(s, "D").y, 6, kTol);
         }},
        {"PointOnSegmentStaysOnItsLine",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("T", 8, 8), s);
             Must(s.AddSegment("slope", "O", "T"), s);
             Must(s.AddPoint("M", 3, 3), s);
             Must(s.Constrain("tOn", T::On, {"M", "slope"}), s);
             Must(s.Constrain("slopeAngle", T::Angle, {"base", "slope"}, kPi / 4), s);
             Must(s.Constrain("slopeLen", T::Length, {"slope"}, std::hypot(8, 8)), s);
             Must(s.Constrain("mFromO", T::Distance, {"M", "O"}, std::hypot(3, 3)), s);
         },
         {{"slopeAngle", kPi / 3}},
         [](const VocabSketch& s)
         {
             const P m = At(s, "M");
             EXPECT_NEAR(m.x, std::hypot(3, 3) * 0.5, kTol);
             EXPECT_NEAR(m.y, std::hypot(3, 3) * std::sqrt(3.0) / 2, kTol);
         }},
        {"PointOnCircleAndArcFollowTheRadius",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddCircle("hole", "O", 5), s);
             Must(s.Constrain("r", T::Radius, {"hole"}, 5), s);
             Must(s.AddPoint("Q", 5, 0), s);
             Must(s.Constrain("qOn", T::On, {"Q", "hole"}), s);
             Must(s.Constrain("qLevel", T::Horizontal, {"O", "Q"}), s);
             Must(s.AddPoint("S", 0, 3), s);
             Must(s.AddPoint("E", -3, 0), s);
             Must(s.AddArc("bend", "O", "S", "E"), s);
         },
         {{"r", 8}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "Q").x, 8, kTol);
             EXPECT_NEAR(At(s, "Q").y, 0, kTol);
         }},
        {"HorizontalVerticalByPointsAndSegments",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("U", 10, 5), s);
             Must(s.AddPoint("V", 2, 5), s);
             Must(s.Constrain("uAbove", T::Vertical, {"B", "U"}), s);
             Must(s.Constrain("uHigh", T::Distance, {"U", "B"}, 5), s);
             Must(s.Constrain("vLevel", T::Horizontal, {"U", "V"}), s);
             Must(s.Constrain("vIn", T::Distance, {"U", "V"}, 8), s);
         },
         {{"baseLen", 20}, {"uHigh", 7}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "U").x, 20, kTol);
             EXPECT_NEAR(At(s, "U").y, 7, kTol);
             EXPECT_NEAR(At(s, "V").x, 12, kTol);
             EXPECT_NEAR(At(s, "V").y, 7, kTol);
         }},
        {"ParallelAndPerpendicularKeepTheirSense",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("C", 10, 4), s);
             Must(s.AddPoint("D", 0, 4), s);
             Must(s.AddSegment("right", "B", "C"), s);
             Must(s.AddSegment("top", "C", "D"), s);
             Must(s.Constrain("square", T::Perpendicular, {"base", "right"}), s);
             Must(s.Constrain("rightLen", T::Length, {"right"}, 4), s);
             Must(s.Constrain("same", T::Parallel, {"base", "top"}), s);
             Must(s.Constrain("topLen", T::Length, {"top"}, 10), s);
         },
         {{"rightLen", 6}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "C").x, 10, kTol);
             EXPECT_NEAR(At(s, "C").y, 6, kTol);
             EXPECT_NEAR(At(s, "D").x, 0, kTol);
             EXPECT_NEAR(At(s, "D").y, 6, kTol);
         }},
        {"DistancesPointLineAndLineLine",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("C", 0, 5), s);
             Must(s.AddPoint("D", 10, 5), s);
             Must(s.AddSegment("top", "C", "D"), s);
             Must(s.Constrain("gap", T::Distance, {"base", "top"}, 5), s);
             Must(s.Constrain("cx", T::Vertical, {"O", "C"}), s);
             Must(s.Constrain("topLen", T::Length, {"top"}, 10), s);
             Must(s.AddPoint("H", 4, 2), s);
             Must(s.Constrain("hUp", T::Distance, {"H", "base"}, 2), s);
             Must(s.Constrain("hSide", T::Distance, {"H", "O"}, std::hypot(4, 2)), s);
         },
         {{"gap", 8}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "D").y, 8, kTol);
             EXPECT_NEAR(At(s, "D").x, 10, kTol);
             EXPECT_NEAR(At(s, "H").y, 2, kTol);
         }},
        {"DiameterDrivesTheRadiusOfAnArc",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("S", 13, 0), s);
             Must(s.AddPoint("E", 10, 3), s);
             Must(s.AddArc("round", "B", "S", "E"), s);
             Must(s.Constrain("dia", T::Diameter, {"round"}, 6), s);
             Must(s.Constrain("sLevel", T::Horizontal, {"B", "S"}), s);
             Must(s.Constrain("eUp", T::Vertical, {"B", "E"}), s);
         },
         {{"dia", 10}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "S").x, 15, kTol);
             EXPECT_NEAR(At(s, "E").y, 5, kTol);
             EXPECT_NEAR(s.RadiusOf(*s.FindEntity("round")), 5, kTol);
         }},
        {"EqualLengthsAndRadii",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("C", 10, 10), s);
             Must(s.AddSegment("right", "B", "C"), s);
             Must(s.Constrain("up", T::Vertical, {"right"}), s);
             Must(s.Constrain("sameLen", T::Equal, {"base", "right"}), s);
             Must(s.AddCircle("c1", "O", 2), s);
             Must(s.AddCircle("c2", "B", 2), s);
             Must(s.Constrain("r1", T::Radius, {"c1"}, 2), s);
             Must(s.Constrain("sameR", T::Equal, {"c1", "c2"}), s);
         },
         {{"baseLen", 12}, {"r1", 3}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "C").y, 12, kTol);
             EXPECT_NEAR(s.FindEntity("c2")->radius, 3, kTol);
         }},
        {"FilletArcStaysTangentToBothSegments",
         [](VocabSketch& s)
         {
             // An L of two segments with a fillet of radius 2 at the corner (10, 0).
             Must(s.AddPoint("O", 0, 0), s);
             Must(s.AddPoint("F1", 8, 0), s);
             Must(s.AddPoint("F2", 10, 2), s);
             Must(s.AddPoint("T", 10, 10), s);
             Must(s.AddPoint("K", 8, 2), s);
             Must(s.AddSegment("bottom", "O", "F1"), s);
             Must(s.AddSegment("side", "F2", "T"), s);
             Must(s.AddArc("fillet", "K", "F1", "F2"), s);
             Must(s.Constrain("fixO", T::Fix, {"O"}), s);
             Must(s.Constrain("flat", T::Horizontal, {"bottom"}), s);
             Must(s.Constrain("up", T::Vertical, {"side"}), s);
             Must(s.Constrain("t1", T::Tangent, {"bottom", "fillet"}), s);
             Must(s.Constrain("t2", T::Tangent, {"side", "fillet"}), s);
             Must(s.Constrain("rf", T::Radius, {"fillet"}, 2), s);
             Must(s.Constrain("width", T::Distance, {"T", "O"}, std::hypot(10, 10)), s);
             Must(s.Constrain("height", T::Distance, {"T", "bottom"}, 10), s);
         },
         {{"rf", 3}},
         [](const VocabSketch& s)
         {
             // The centre stays inside the corner, the arc ends stay on their segments.
             EXPECT_NEAR(At(s, "K").x, 7, kTol);
             EXPECT_NEAR(At(s, "K").y, 3, kTol);
             EXPECT_NEAR(At(s, "F1").x, 7, kTol);
             EXPECT_NEAR(At(s, "F2").y, 3, kTol);
         }},
        {"TangentCirclesOutsideStayOutside",
         [](VocabSketch& s)
         {
             Must(s.AddPoint("O", 0, 0), s);
             Must(s.AddPoint("B", 10, 0), s);
             Must(s.Constrain("fixO", T::Fix, {"O"}), s);
             Must(s.Constrain("level", T::Horizontal, {"O", "B"}), s);
             Must(s.AddCircle("big", "O", 6), s);
             Must(s.AddCircle("small", "B", 4), s);
             Must(s.AddPoint("Q", 10, 8), s);
             Must(s.AddCircle("third", "Q", 4), s);
             Must(s.Constrain("rBig", T::Radius, {"big"}, 6), s);
             Must(s.Constrain("rSmall", T::Radius, {"small"}, 4), s);
             Must(s.Constrain("rThird", T::Radius, {"third"}, 4), s);
             Must(s.Constrain("touch", T::Tangent, {"small", "third"}), s);
             Must(s.Constrain("qUp", T::Vertical, {"B", "Q"}), s);
             Must(s.Constrain("touch0", T::Tangent, {"big", "small"}), s);
         },
         {{"rBig", 7}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "B").x, 11, kTol);
             EXPECT_NEAR(At(s, "Q").x, 11, kTol);
             EXPECT_NEAR(At(s, "Q").y, 8, kTol);
             EXPECT_NEAR(Dist(At(s, "B"), At(s, "O")), 7 + 4, kTol);
         }},
        {"TangentCirclesInsideStayInside",
         [](VocabSketch& s)
         {
             Must(s.AddPoint("O", 0, 0), s);
             Must(s.Constrain("fixO", T::Fix, {"O"}), s);
             Must(s.AddCircle("outer", "O", 10), s);
             Must(s.AddPoint("C", 6, 0), s);
             Must(s.AddCircle("inner", "C", 4), s);
             Must(s.Constrain("rOuter", T::Radius, {"outer"}, 10), s);
             Must(s.Constrain("rInner", T::Radius, {"inner"}, 4), s);
             Must(s.Constrain("level", T::Horizontal, {"O", "C"}), s);
             VocabConstraint touch;
             touch.id = "touch";
             touch.type = T::Tangent;
             touch.refs = {"outer", "inner"};
             touch.inside = true;
             Must(s.AddConstraint(touch), s);
         },
         {{"rInner", 3}},
         [](const VocabSketch& s)
         {
             // Still inside: the centres 10 - 3 apart, the small circle on the right.
             EXPECT_NEAR(At(s, "C").x, 7, kTol);
             EXPECT_NEAR(Dist(At(s, "C"), At(s, "O")), 10 - 3, kTol);
         }},
        {"TangentArcsMeetingAtAPointStayTangent",
         [](VocabSketch& s)
         {
             // An S-bend: two quarter arcs of radius 5 meeting at M.
             Must(s.AddPoint("C1", 0, 0), s);
             Must(s.AddPoint("A", 0, -5), s);
             Must(s.AddPoint("M", 5, 0), s);
             Must(s.AddPoint("C2", 10, 0), s);
             Must(s.AddPoint("Z", 10, 5), s);
             Must(s.AddArc("first", "C1", "A", "M"), s);
             Must(s.AddArc("second", "C2", "Z", "M"), s);
             Must(s.Constrain("fixC1", T::Fix, {"C1"}), s);
             Must(s.Constrain("aDown", T::Vertical, {"C1", "A"}), s);
             Must(s.Constrain("zUp", T::Vertical, {"C2", "Z"}), s);
             Must(s.Constrain("r1", T::Radius, {"first"}, 5), s);
             Must(s.Constrain("r2", T::Radius, {"second"}, 5), s);
             Must(s.Constrain("touch", T::Tangent, {"first", "second"}), s);
             Must(s.Constrain("level", T::Horizontal, {"C1", "C2"}), s);
         },
         {{"r2", 8}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "C2").x, 13, kTol);
             EXPECT_NEAR(At(s, "M").x, 5, kTol);
         }},
        {"ConcentricCirclesShareTheCentre",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("C", 10, 0), s);
             Must(s.AddCircle("ring", "C", 3), s);
             Must(s.AddCircle("boss", "B", 5), s);
             Must(s.Constrain("same", T::Concentric, {"boss", "ring"}), s);
         },
         {{"baseLen", 15}},
         [](const VocabSketch& s) { EXPECT_NEAR(At(s, "C").x, 15, kTol); }},
        {"MidpointStaysHalfway",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("M", 5, 0), s);
             Must(s.Constrain("mid", T::Midpoint, {"M", "base"}), s);
             Must(s.AddPoint("C", 10, 4), s);
             Must(s.AddPoint("N", 10, 2), s);
             Must(s.Constrain("cUp", T::Vertical, {"B", "C"}), s);
             Must(s.Constrain("cHigh", T::Distance, {"B", "C"}, 4), s);
             Must(s.Constrain("mid2", T::Midpoint, {"N", "B", "C"}), s);
         },
         {{"baseLen", 16}, {"cHigh", 6}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "M").x, 8, kTol);
             EXPECT_NEAR(At(s, "M").y, 0, kTol);
             EXPECT_NEAR(At(s, "N").x, 16, kTol);
             EXPECT_NEAR(At(s, "N").y, 3, kTol);
         }},
        {"SymmetricPairStaysMirrored",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("Top", 0, 10), s);
             Must(s.AddSegment("axis", "O", "Top"), s);
             Must(s.Constrain("axisUp", T::Vertical, {"axis"}), s);
             Must(s.Constrain("axisLen", T::Length, {"axis"}, 10), s);
             Must(s.AddPoint("L", -3, 4), s);
             Must(s.AddPoint("R", 3, 4), s);
             Must(s.Constrain("mirror", T::Symmetric, {"L", "R", "axis"}), s);
             Must(s.Constrain("lFromO", T::Distance, {"L", "O"}, 5), s);
             Must(s.Constrain("spread", T::Distance, {"L", "R"}, 6), s);
         },
         {{"spread", 8}},
         [](const VocabSketch& s)
         {
             const P l = At(s, "L");
             const P r = At(s, "R");
             EXPECT_NEAR(l.x, -4, kTol);
             EXPECT_NEAR(r.x, 4, kTol);
             EXPECT_NEAR(l.y, 3, kTol);
             EXPECT_NEAR(r.y, 3, kTol);
         }},
        {"FixedArcAndReferenceDimension",
         [](VocabSketch& s)
         {
             Base(s, 10);
             Must(s.AddPoint("K", 20, 0), s);
             Must(s.AddPoint("S", 23, 0), s);
             Must(s.AddPoint("E", 20, 3), s);
             Must(s.AddArc("held", "K", "S", "E"), s);
             Must(s.Constrain("hold", T::Fix, {"held"}), s);
             VocabConstraint ref;
             ref.id = "gapRef";
             ref.type = T::Distance;
             ref.refs = {"B", "K"};
             ref.driven = true;
             Must(s.AddConstraint(ref), s);
         },
         {{"baseLen", 12}},
         [](const VocabSketch& s)
         {
             EXPECT_NEAR(At(s, "S").x, 23, kTol);
             EXPECT_NEAR(s.Measure(*s.FindConstraint("gapRef")), 8, kTol);
         }},
    };
}

TEST(VocabConstraints, EveryKindHoldsAfterADrive)
{
    for (const Row& row : Rows())
    {
        SCOPED_TRACE(row.name);
        VocabSketch s;
        row.draw(s);
        if (::testing::Test::HasFatalFailure())
        {
            return;
        }
        for (const ConstraintCheck& c : s.Check())
        {
            EXPECT_TRUE(c.holds) << "as drawn: " << c.id << " off by " << c.error;
        }
        const AnalysisResult analysis = s.Analyse();
        EXPECT_TRUE(analysis.IsOk()) << VerdictText(analysis.verdict);

        const VocabDriveResult result = s.Drive(row.changes);

        EXPECT_TRUE(result.IsOk()) << result.Message();
        if (!result.IsOk())
        {
            continue;
        }
        for (const ConstraintCheck& c : s.Check())
        {
            EXPECT_TRUE(c.holds) << c.id << " off by " << c.error;
        }
        row.expect(s);
    }
}

// Every point of every sketch above dragged a little: where the constraints leave it room it
// moves, and afterwards every constraint still holds (a tangent on its side, a mirrored pair
// mirrored); where they do not, nothing moves and the drag still succeeds.
TEST(VocabConstraints, EveryKindHoldsAfterADrag)
{
    int movedDrags = 0;
    for (const Row& row : Rows())
    {
        VocabSketch drawn;
        row.draw(drawn);
        if (::testing::Test::HasFatalFailure())
        {
            return;
        }
        for (const VocabEntity& e : drawn.Entities())
        {
            if (e.type != EntityType::Point)
            {
                continue;
            }
            SCOPED_TRACE(std::string(row.name) + ", point " + e.id);
            VocabSketch s;
            row.draw(s);
            const P was = At(s, e.id);
            const VocabDragResult result = s.Drag(e.id, was.x + 0.7, was.y - 0.4);
            if (!result.IsOk() && result.Message().find("is fixed") != std::string::npos)
            {
                continue;
            }
            EXPECT_TRUE(result.IsOk()) << result.Message();
            for (const ConstraintCheck& c : s.Check())
            {
                EXPECT_TRUE(c.holds) << c.id << " off by " << c.error;
            }
            const P now = At(s, e.id);
            movedDrags += std::hypot(now.x - was.x, now.y - was.y) > 1e-3 ? 1 : 0;
        }
    }
    EXPECT_GE(movedDrags, 2);
}

// A loose sketch holding most kinds at once, each point dragged: the points move, and every
// constraint keeps its meaning (tangent lines on their side of the circle, the mirrored pair
// mirrored, the midpoint in the middle, equal radii equal).
TEST(VocabConstraints, LooseSketchKeepsEveryKindUnderDrags)
{
    using T = ConstraintType;
    auto draw = [](VocabSketch& s)
    {
        Must(s.AddPoint("C1", 0, 0), s);
        Must(s.AddCircle("c1", "C1", 5), s);
        Must(s.Constrain("fixC1", T::Fix, {"C1"}), s);
        Must(s.AddPoint("A", -10, 5), s);
        Must(s.AddPoint("B", 10, 5), s);
        Must(s.AddSegment("top", "A", "B"), s);
        Must(s.Constrain("topFlat", T::Horizontal, {"top"}), s);
        Must(s.Constrain("topTouches", T::Tangent, {"top", "c1"}), s);
        Must(s.AddPoint("A2", -10, -5), s);
        Must(s.AddPoint("B2", 10, -5), s);
        Must(s.AddSegment("bottom", "A2", "B2"), s);
        Must(s.Constrain("sides", T::Parallel, {"top", "bottom"}), s);
        Must(s.Constrain("bottomTouches", T::Tangent, {"bottom", "c1"}), s);
        Must(s.AddPoint("M", 0, 5), s);
        Must(s.Constrain("middle", T::Midpoint, {"M", "top"}), s);
        Must(s.AddPoint("T", 0, 10), s);
        Must(s.AddSegment("axis", "C1", "T"), s);
        Must(s.Constrain("square", T::Perpendicular, {"top", "axis"}), s);
        Must(s.AddPoint("P", 3, -2), s);
        Must(s.AddPoint("Q", -3, -2), s);
        Must(s.Constrain("mirror", T::Symmetric, {"P", "Q", "axis"}), s);
        Must(s.AddPoint("C3", 20, 0), s);
        Must(s.AddCircle("c3", "C3", 5), s);
        Must(s.Constrain("same", T::Equal, {"c1", "c3"}), s);
        Must(s.AddPoint("E", 10, 5), s);
        Must(s.AddPoint("F", 17, 4), s);
        Must(s.AddSegment("arm", "E", "F"), s);
        Must(s.Constrain("joined", T::Coincident, {"B", "E"}), s);
        Must(s.Constrain("onC3", T::On, {"F", "c3"}), s);
    };
    int moved = 0;
    for (const char* point : {"A", "B2", "M", "T", "P", "Q", "C3", "F"})
    {
        SCOPED_TRACE(point);
        VocabSketch s;
        draw(s);
        for (const ConstraintCheck& c : s.Check())
        {
            ASSERT_TRUE(c.holds) << "as drawn: " << c.id << " off by " << c.error;
        }
        const P was = At(s, point);
        const VocabDragResult result = s.Drag(point, was.x + 1.5, was.y + 1.0);
        ASSERT_TRUE(result.IsOk()) << result.Message();
        for (const ConstraintCheck& c : s.Check())
        {
            EXPECT_TRUE(c.holds) << c.id << " off by " << c.error;
        }
        const P now = At(s, point);
        moved += std::hypot(now.x - was.x, now.y - was.y) > 1e-3 ? 1 : 0;
        // Sides kept: the top line above the circle, the bottom one below, P right of the axis.
        EXPECT_GT(At(s, "A").y, At(s, "C1").y);
        EXPECT_LT(At(s, "A2").y, At(s, "C1").y);
        EXPECT_GT(At(s, "P").x, At(s, "Q").x);
    }
    EXPECT_GE(moved, 6);
}

} // namespace

namespace
{

// A gear lever whose rod end slides on a guide 60 below the pivot.
void DrawLever(VocabSketch& s)
{
    using T = ConstraintType;
    const double a = 100.0 * kPi / 180.0;
    const P k{120 * std::cos(a), 120 * std::sin(a)};
    const P l{-40 * std::cos(a), -40 * std::sin(a)};
    const double sx = l.x + std::sqrt(100.0 * 100.0 - (60.0 + l.y) * (60.0 + l.y));
    Must(s.AddPoint("P", 0, 0), s);
    Must(s.AddPoint("K", k.x, k.y), s);
    Must(s.AddPoint("L", l.x, l.y), s);
    Must(s.AddPoint("S", sx, -60), s);
    Must(s.AddLine("guide", 0, -60, 1, 0, true), s);
    Must(s.AddSegment("lever", "L", "K"), s);
    Must(s.AddSegment("rod", "L", "S"), s);
    Must(s.Constrain("fixP", T::Fix, {"P"}), s);
    Must(s.Constrain("fixGuide", T::Fix, {"guide"}), s);
    Must(s.Constrain("pivot", T::On, {"P", "lever"}), s);
    Must(s.Constrain("upper", T::Distance, {"P", "K"}, 120), s);
    Must(s.Constrain("lower", T::Distance, {"P", "L"}, 40), s);
    Must(s.Constrain("rodLen", T::Length, {"rod"}, 100), s);
    Must(s.Constrain("slide", T::On, {"S", "guide"}), s);
    Must(s.Constrain("shift", T::Angle, {"guide", "lever"}, a), s);
}

TEST(VocabDrive, AFailedDriveRestoresTheSketchAndTheNextOneWorks)
{
    VocabSketch s;
    DrawLever(s);
    const std::vector<VocabEntity> before = s.Entities();

    // A rod of 10 cannot reach the guide 60 below the pivot.
    const VocabDriveResult failed = s.Drive({{"rodLen", 10}});
    const VocabDriveResult solved = s.Drive({{"shift", 80.0 * kPi / 180.0}});

    EXPECT_FALSE(failed.IsOk());
    EXPECT_TRUE(failed.core.restored);
    ASSERT_TRUE(solved.IsOk()) << solved.Message();
    EXPECT_EQ(s.FindConstraint("rodLen")->value, 100);
    // The lever turned about its pivot: the knob stays 120 out, the rod end on the guide.
    EXPECT_NEAR(Dist(At(s, "K"), P{0, 0}), 120, kTol);
    EXPECT_NEAR(At(s, "S").y, -60, kTol);
    EXPECT_NE(At(s, "K").x, before[1].x);
}

TEST(VocabDrive, RequestsThatNameNoDrivableDimensionAreRefused)
{
    VocabSketch s;
    DrawLever(s);
    VocabConstraint ref;
    ref.id = "reach";
    ref.type = ConstraintType::Distance;
    ref.refs = {"P", "S"};
    ref.driven = true;
    ASSERT_TRUE(s.AddConstraint(ref)) << s.LastError();

    const VocabDriveResult unknown = s.Drive({{"nothing", 1}});
    const VocabDriveResult reference = s.Drive({{"reach", 50}});
    const VocabDriveResult noValue = s.Drive({{"pivot", 1}});

    for (const VocabDriveResult* r : {&unknown, &reference, &noValue})
    {
        EXPECT_EQ(r->core.failed, DriveStep::BadRequest);
    }
    EXPECT_NE(reference.core.message.find("reference"), std::string::npos);
}

TEST(VocabDrive, RefusedBuildersChangeNothing)
{
    VocabSketch s;
    ASSERT_TRUE(s.AddPoint("A", 0, 0));
    ASSERT_TRUE(s.AddPoint("B", 1, 0));

    EXPECT_FALSE(s.AddSegment("A", "A", "B")); // the id is taken
    EXPECT_FALSE(s.AddSegment("s", "A", "A"));
    EXPECT_FALSE(s.AddArc("a", "A", "B", "C"));
    EXPECT_FALSE(s.AddCircle("c#1", "A", 1));
    EXPECT_FALSE(s.Constrain("t", ConstraintType::Tangent, {"A", "B"}));
    EXPECT_FALSE(s.Constrain("d", ConstraintType::Distance, {"A", "B"}, -1));

    EXPECT_EQ(s.Entities().size(), 2u);
    EXPECT_TRUE(s.Constraints().empty());
    EXPECT_NE(s.Core(), nullptr);
}

} // namespace
