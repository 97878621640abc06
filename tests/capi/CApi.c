/* The C API as a C program sees it: whole sketches built by calls and loaded from the example
 * files, analysed, driven, read back and saved, and every refusal with its status and text. */
#include "qsolver/qsolver_c.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int g_failures = 0;

#define CHECK(cond)                                                                                \
    do                                                                                             \
    {                                                                                              \
        if (!(cond))                                                                               \
        {                                                                                          \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);               \
            ++g_failures;                                                                          \
        }                                                                                          \
    } while (0)

/* The last error of either kind of handle. */
#define LAST_ERROR(h)                                                                              \
    _Generic((h), qsolver_sketch *                                                                 \
             : qsolver_sketch_last_error, qsolver_vocab *                                          \
             : qsolver_vocab_last_error)(h)

/* A call that must succeed; prints the handle's error when it does not. */
#define OK(sketch, call)                                                                           \
    do                                                                                             \
    {                                                                                              \
        int status_ = (call);                                                                      \
        if (status_ != QSOLVER_OK)                                                                 \
        {                                                                                          \
            fprintf(stderr, "%s:%d: %s gave %s: %s\n", __FILE__, __LINE__, #call,                  \
                    qsolver_status_text(status_), LAST_ERROR(sketch));                             \
            ++g_failures;                                                                          \
        }                                                                                          \
    } while (0)

/* A call that must fail with `expected`, with an error text that contains `word`. */
#define REFUSED(sketch, expected, word, call)                                                      \
    do                                                                                             \
    {                                                                                              \
        int status_ = (call);                                                                      \
        if (status_ != (expected))                                                                 \
        {                                                                                          \
            fprintf(stderr, "%s:%d: %s gave %s, not %s (%s)\n", __FILE__, __LINE__, #call,         \
                    qsolver_status_text(status_), qsolver_status_text(expected),                   \
                    LAST_ERROR(sketch));                                                           \
            ++g_failures;                                                                          \
        }                                                                                          \
        else if (strstr(LAST_ERROR(sketch), (word)) == NULL)                                       \
        {                                                                                          \
            fprintf(stderr, "%s:%d: error text \"%s\" lacks \"%s\"\n", __FILE__, __LINE__,         \
                    LAST_ERROR(sketch), (word));                                                   \
            ++g_failures;                                                                          \
        }                                                                                          \
    } while (0)

static double Distance(qsolver_sketch* s, const char* a, const char* b)
{
    double ax = 0, ay = 0, bx = 0, by = 0;
    OK(s, qsolver_sketch_point(s, a, &ax, &ay));
    OK(s, qsolver_sketch_point(s, b, &bx, &by));
    return hypot(ax - bx, ay - by);
}

/* A right triangle A B C with A fixed and AB along a fixed line: fully placed by its sides. */
static qsolver_sketch* Triangle(void)
{
    qsolver_sketch* s = qsolver_sketch_create();
    OK(s, qsolver_sketch_add_point(s, "A", 0, 0));
    OK(s, qsolver_sketch_add_point(s, "B", 4, 0));
    OK(s, qsolver_sketch_add_point(s, "C", 0, 3));
    OK(s, qsolver_sketch_add_line(s, "base", 0, 0, 1, 0, 0));
    OK(s, qsolver_sketch_add_relation(s, "fixA", QSOLVER_REL_FIX, "A", NULL, 0, 0));
    OK(s, qsolver_sketch_add_relation(s, "fixBase", QSOLVER_REL_FIX, "base", NULL, 0, 0));
    OK(s, qsolver_sketch_add_relation(s, "bOnBase", QSOLVER_REL_PLDIS, "B", "base", 0, 0));
    OK(s, qsolver_sketch_add_relation(s, "ab", QSOLVER_REL_PPDIS, "A", "B", 4, 0));
    OK(s, qsolver_sketch_add_relation(s, "ac", QSOLVER_REL_PPDIS, "A", "C", 3, 0));
    OK(s, qsolver_sketch_add_relation(s, "bc", QSOLVER_REL_PPDIS, "B", "C", 5, 0));
    return s;
}

static void BuildAnalyseDrive(void)
{
    qsolver_sketch* s = Triangle();
    int verdict = -1;
    size_t n = 0;
    int cluster = 0;
    double x = 0, y = 0, v = 0;
    int known = 0;

    CHECK(s != NULL);
    CHECK(strcmp(qsolver_sketch_last_error(s), "") == 0);
    OK(s, qsolver_sketch_analyse(s, &verdict));
    CHECK(verdict == QSOLVER_VERDICT_OK);
    OK(s, qsolver_sketch_cluster_count(s, &n));
    CHECK(n >= 1);
    OK(s, qsolver_sketch_node_cluster(s, "A", &cluster));
    CHECK(cluster == 0); /* a fixed node lies in the fixed cluster */
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_NODES, &n));
    CHECK(n == 4);

    /* Drive the base from 4 to 6: B slides along the base, C keeps its sides. */
    {
        const char* ids[] = {"ab"};
        const double values[] = {6.0};
        OK(s, qsolver_sketch_drive(s, ids, values, 1));
    }
    OK(s, qsolver_sketch_point(s, "A", &x, &y));
    CHECK(x == 0 && y == 0);
    OK(s, qsolver_sketch_point(s, "B", &x, &y));
    CHECK(fabs(x - 6) < 1e-9 && fabs(y) < 1e-9);
    CHECK(fabs(Distance(s, "A", "C") - 3) < 1e-9);
    CHECK(fabs(Distance(s, "B", "C") - 5) < 1e-9);
    OK(s, qsolver_sketch_point(s, "C", &x, &y));
    CHECK(y > 0); /* C stays on the side it was on */
    OK(s, qsolver_sketch_value(s, "ab", &v, &known));
    CHECK(v == 6.0 && known == 1);
    /* The analysis described the sketch before the drive. */
    REFUSED(s, QSOLVER_ERR_NO_ANALYSIS, "analysed", qsolver_sketch_cluster_count(s, &n));

    qsolver_sketch_destroy(s);
}

static void FailedDriveRestores(void)
{
    qsolver_sketch* s = Triangle();
    double before[6], after[6], v = 0;
    const char* ids[] = {"bc", "ab"};
    const double values[] = {5.0, 100.0}; /* no triangle has sides 3, 5 and 100 */
    char* saved = NULL;
    const char* text = NULL;

    OK(s, qsolver_sketch_point(s, "A", &before[0], &before[1]));
    OK(s, qsolver_sketch_point(s, "B", &before[2], &before[3]));
    OK(s, qsolver_sketch_point(s, "C", &before[4], &before[5]));
    OK(s, qsolver_sketch_save_json(s, &text, NULL));
    saved = malloc(strlen(text) + 1);
    strcpy(saved, text);

    REFUSED(s, QSOLVER_ERR_SOLVER, "restored", qsolver_sketch_drive(s, ids, values, 2));

    OK(s, qsolver_sketch_point(s, "A", &after[0], &after[1]));
    OK(s, qsolver_sketch_point(s, "B", &after[2], &after[3]));
    OK(s, qsolver_sketch_point(s, "C", &after[4], &after[5]));
    CHECK(memcmp(before, after, sizeof before) == 0);
    OK(s, qsolver_sketch_value(s, "ab", &v, NULL));
    CHECK(v == 4.0);
    OK(s, qsolver_sketch_save_json(s, &text, NULL));
    CHECK(strcmp(saved, text) == 0);
    free(saved);

    /* The sketch still drives after the failure. */
    {
        const char* one[] = {"ab"};
        const double five[] = {5.0};
        OK(s, qsolver_sketch_drive(s, one, five, 1));
        CHECK(fabs(Distance(s, "A", "B") - 5) < 1e-9);
    }
    qsolver_sketch_destroy(s);
}

static void Refusals(void)
{
    qsolver_sketch* s = Triangle();
    size_t n = 0;
    const char* id = NULL;
    double x = 0, y = 0;
    int kind = 0;

    REFUSED(s, QSOLVER_ERR_DUPLICATE_ID, "'A'", qsolver_sketch_add_point(s, "A", 1, 1));
    REFUSED(s, QSOLVER_ERR_DUPLICATE_ID, "'ab'", qsolver_sketch_add_line(s, "ab", 0, 0, 1, 0, 0));
    REFUSED(s, QSOLVER_ERR_DUPLICATE_ID, "empty", qsolver_sketch_add_point(s, "", 1, 1));
    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'Z'",
            qsolver_sketch_add_relation(s, "az", QSOLVER_REL_PPDIS, "A", "Z", 1, 0));
    REFUSED(s, QSOLVER_ERR_REFUSED, "not a line",
            qsolver_sketch_add_relation(s, "ab2", QSOLVER_REL_PLDIS, "A", "B", 1, 0));
    REFUSED(s, QSOLVER_ERR_REFUSED, "direction", qsolver_sketch_add_line(s, "L0", 0, 0, 0, 0, 0));
    REFUSED(s, QSOLVER_ERR_REFUSED, "negative",
            qsolver_sketch_add_relation(s, "neg", QSOLVER_REL_PPDIS, "B", "C", -1, 0));
    REFUSED(s, QSOLVER_ERR_ARGUMENT, "kind",
            qsolver_sketch_add_relation(s, "k", 99, "A", "B", 1, 0));
    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'same'",
            qsolver_sketch_add_shared_relation(s, "sh", QSOLVER_REL_PPDIS, "A", "B", "same", 0));
    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'nope'", qsolver_sketch_point(s, "nope", &x, &y));
    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'base'", qsolver_sketch_point(s, "base", &x, &y));
    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'nope'", qsolver_sketch_kind(s, "nope", &kind));
    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'nope'", qsolver_sketch_remove(s, "nope"));
    REFUSED(s, QSOLVER_ERR_NO_ANALYSIS, "analysed",
            qsolver_sketch_list_size(s, QSOLVER_LIST_STRIPPED, &n));
    REFUSED(s, QSOLVER_ERR_RANGE, "past the end",
            qsolver_sketch_list_item(s, QSOLVER_LIST_NODES, 4, &id));
    REFUSED(s, QSOLVER_ERR_ARGUMENT, "list", qsolver_sketch_list_size(s, 42, &n));
    REFUSED(s, QSOLVER_ERR_ARGUMENT, "place", qsolver_sketch_point(s, "A", NULL, &y));
    CHECK(qsolver_sketch_analyse(NULL, NULL) == QSOLVER_ERR_ARGUMENT);
    CHECK(strcmp(qsolver_sketch_last_error(NULL), "no sketch") == 0);
    qsolver_sketch_destroy(NULL);

    {
        const char* unknown[] = {"zz"};
        const char* fix[] = {"fixA"};
        const char* ab[] = {"ab"};
        const double one[] = {1.0};
        const double negative[] = {-2.0};
        const double nan[] = {NAN};
        REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'zz'", qsolver_sketch_drive(s, unknown, one, 1));
        REFUSED(s, QSOLVER_ERR_REFUSED, "no value", qsolver_sketch_drive(s, fix, one, 1));
        REFUSED(s, QSOLVER_ERR_REFUSED, "negative", qsolver_sketch_drive(s, ab, negative, 1));
        REFUSED(s, QSOLVER_ERR_REFUSED, "finite", qsolver_sketch_drive(s, ab, nan, 1));
        REFUSED(s, QSOLVER_ERR_ARGUMENT, "given", qsolver_sketch_drive(s, NULL, one, 1));
        OK(s, qsolver_sketch_drive(s, NULL, NULL, 0));
        CHECK(fabs(Distance(s, "A", "B") - 4) < 1e-9);
    }

    /* Nothing refused changed the sketch. */
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_NODES, &n));
    CHECK(n == 4);
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_RELATIONS, &n));
    CHECK(n == 6);
    OK(s, qsolver_sketch_list_item(s, QSOLVER_LIST_RELATIONS, 5, &id));
    CHECK(strcmp(id, "bc") == 0);
    qsolver_sketch_destroy(s);
}

static void Removal(void)
{
    qsolver_sketch* s = Triangle();
    size_t n = 0;
    double v = 0;
    int known = 1;

    OK(s, qsolver_sketch_add_value(s, "same", 5, 0));
    OK(s, qsolver_sketch_add_point(s, "D", 8, 3));
    OK(s, qsolver_sketch_add_shared_relation(s, "cd", QSOLVER_REL_PPDIS, "C", "D", "same", 0));
    OK(s, qsolver_sketch_add_shared_relation(s, "bd", QSOLVER_REL_PPDIS, "B", "D", "same", 0));
    OK(s, qsolver_sketch_value(s, "cd", &v, &known));
    CHECK(v == 5 && known == 0);

    REFUSED(s, QSOLVER_ERR_REFUSED, "shared", qsolver_sketch_remove(s, "same"));
    OK(s, qsolver_sketch_remove(s, "D")); /* takes cd and bd with it */
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_RELATIONS, &n));
    CHECK(n == 6);
    OK(s, qsolver_sketch_remove(s, "same"));
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_VALUES, &n));
    CHECK(n == 0);
    OK(s, qsolver_sketch_remove(s, "bc"));
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_RELATIONS, &n));
    CHECK(n == 5);
    /* The ids are free again. */
    OK(s, qsolver_sketch_add_point(s, "D", 1, 1));
    OK(s, qsolver_sketch_add_relation(s, "bc", QSOLVER_REL_PPDIS, "B", "C", 5, 0));
    qsolver_sketch_destroy(s);
}

static const char* const kBadTexts[][2] = {
    {"{\"nodes\": [", "sketch"},
    {"{\"nodes\": [{\"id\": \"A\", \"type\": \"point\", \"at\": [0, 0]}], \"relations\": "
     "[{\"id\": \"f\", \"type\": \"fix\", \"nodes\": [\"Q\"]}]}",
     "relations[0]"},
    {"{\"nodes\": [{\"id\": \"A\", \"type\": \"blob\", \"at\": [0, 0]}]}", "nodes[0]"},
    {"[1, 2]", "sketch"},
};

static void LoadAndSave(void)
{
    qsolver_sketch* s = Triangle();
    qsolver_sketch* t = qsolver_sketch_create();
    const char* text = NULL;
    char* first = NULL;
    size_t length = 0, n = 0, i;

    OK(s, qsolver_sketch_save_json(s, &text, &length));
    CHECK(length == strlen(text));
    first = malloc(length + 1);
    memcpy(first, text, length + 1);
    OK(t, qsolver_sketch_load_json(t, first, length));
    OK(t, qsolver_sketch_save_json(t, &text, NULL));
    CHECK(strcmp(first, text) == 0);

    /* Bad text is refused with its place, and the sketch stays as it was. */
    for (i = 0; i < sizeof kBadTexts / sizeof kBadTexts[0]; ++i)
    {
        REFUSED(t, QSOLVER_ERR_JSON, kBadTexts[i][1],
                qsolver_sketch_load_json(t, kBadTexts[i][0], strlen(kBadTexts[i][0])));
    }
    OK(t, qsolver_sketch_list_size(t, QSOLVER_LIST_NODES, &n));
    CHECK(n == 4);
    OK(t, qsolver_sketch_save_json(t, &text, NULL));
    CHECK(strcmp(first, text) == 0);
    /* Only `length` bytes are read: the rest of the buffer is not JSON. */
    {
        char* padded = malloc(length + 8);
        memcpy(padded, first, length);
        memcpy(padded + length, "garbage", 8);
        OK(t, qsolver_sketch_load_json(t, padded, length));
        free(padded);
    }
    free(first);
    qsolver_sketch_destroy(t);
    qsolver_sketch_destroy(s);
}

static char* ReadFile(const char* path, size_t* length)
{
    FILE* f = fopen(path, "rb");
    char* text = NULL;
    long size = 0;
    if (f == NULL)
    {
        return NULL;
    }
    fseek(f, 0, SEEK_END);
    size = ftell(f);
    fseek(f, 0, SEEK_SET);
    text = malloc((size_t)size + 1);
    *length = fread(text, 1, (size_t)size, f);
    text[*length] = '\0';
    fclose(f);
    return text;
}

/* Every example file: loaded, analysed, saved as the very text it was, and driven where it says
 * so. */
static void ExampleFiles(void)
{
    static const char* const names[] = {"equal",    "fourbar", "overconstrained", "plate", "slot",
                                        "triangle", "truss"};
    size_t i;
    for (i = 0; i < sizeof names / sizeof names[0]; ++i)
    {
        char path[1024];
        size_t length = 0;
        char* text = NULL;
        const char* saved = NULL;
        int verdict = -1;
        qsolver_sketch* s = qsolver_sketch_create();

        snprintf(path, sizeof path, "%s/examples/%s.json", QSOLVER_SOURCE_ROOT, names[i]);
        text = ReadFile(path, &length);
        CHECK(text != NULL);
        if (text == NULL)
        {
            qsolver_sketch_destroy(s);
            continue;
        }
        OK(s, qsolver_sketch_load_json(s, text, length));
        OK(s, qsolver_sketch_analyse(s, &verdict));
        if ((verdict == QSOLVER_VERDICT_OK) != (strcmp(names[i], "overconstrained") != 0))
        {
            fprintf(stderr, "%s: verdict %d\n", names[i], verdict);
            ++g_failures;
        }
        OK(s, qsolver_sketch_save_json(s, &saved, NULL));
        if (strcmp(saved, text) != 0)
        {
            fprintf(stderr, "%s: saved text differs from the file:\n%s\n", names[i], saved);
            ++g_failures;
        }
        free(text);
        qsolver_sketch_destroy(s);
    }
}

static void Drag(void)
{
    qsolver_sketch* s = Triangle();
    double x = 0, y = 0, distance = -1;
    double before[2], after[2];

    /* D is held 5 from A and free to turn about it: dragged towards (10, 10) it stops on the
     * circle, on the way there. */
    OK(s, qsolver_sketch_add_point(s, "D", 5, 0));
    OK(s, qsolver_sketch_add_relation(s, "ad", QSOLVER_REL_PPDIS, "A", "D", 5, 0));
    OK(s, qsolver_sketch_drag(s, "D", 10, 10, &distance));
    OK(s, qsolver_sketch_point(s, "D", &x, &y));
    CHECK(fabs(x - 5 / sqrt(2.0)) < 1e-6 && fabs(y - 5 / sqrt(2.0)) < 1e-6);
    CHECK(fabs(distance - (sqrt(200.0) - 5)) < 1e-6);
    CHECK(fabs(Distance(s, "A", "D") - 5) < 1e-9);
    OK(s, qsolver_sketch_point(s, "A", &x, &y));
    CHECK(x == 0 && y == 0);

    REFUSED(s, QSOLVER_ERR_UNKNOWN_ID, "'Q'", qsolver_sketch_drag(s, "Q", 1, 1, NULL));
    REFUSED(s, QSOLVER_ERR_REFUSED, "not a point", qsolver_sketch_drag(s, "base", 1, 1, NULL));
    REFUSED(s, QSOLVER_ERR_REFUSED, "fixed", qsolver_sketch_drag(s, "A", 1, 1, NULL));
    REFUSED(s, QSOLVER_ERR_REFUSED, "finite", qsolver_sketch_drag(s, "D", NAN, 1, NULL));

    /* Sides 3, 4 and 10 make no triangle: no drag can satisfy them, and C stays. */
    OK(s, qsolver_sketch_remove(s, "bc"));
    OK(s, qsolver_sketch_add_relation(s, "bc", QSOLVER_REL_PPDIS, "B", "C", 10, 0));
    OK(s, qsolver_sketch_point(s, "C", &before[0], &before[1]));
    REFUSED(s, QSOLVER_ERR_SOLVER, "restored", qsolver_sketch_drag(s, "C", 2, 5, NULL));
    OK(s, qsolver_sketch_point(s, "C", &after[0], &after[1]));
    CHECK(memcmp(before, after, sizeof before) == 0);
    qsolver_sketch_destroy(s);
}

static void Diagnostics(void)
{
    qsolver_sketch* s = Triangle();
    int dof = -1, verdict = 0, nodeStatus = -1;
    size_t n = 0;
    const char* id = NULL;

    REFUSED(s, QSOLVER_ERR_NO_ANALYSIS, "analysed", qsolver_sketch_dof(s, &dof));
    OK(s, qsolver_sketch_analyse(s, &verdict));
    OK(s, qsolver_sketch_dof(s, &dof));
    CHECK(dof == 0);
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_CONFLICTING, &n));
    CHECK(n == 0);
    OK(s, qsolver_sketch_node_status(s, "C", &nodeStatus, &dof));
    CHECK(nodeStatus == QSOLVER_STATUS_WELL && dof == 0);

    /* A fourth distance that disagrees with the triangle names the relations in conflict; an
     * edit forgets the last diagnosis. */
    OK(s, qsolver_sketch_add_relation(s, "ab2", QSOLVER_REL_PPDIS, "A", "B", 7, 0));
    REFUSED(s, QSOLVER_ERR_NO_ANALYSIS, "analysed", qsolver_sketch_dof(s, &dof));
    OK(s, qsolver_sketch_analyse(s, &verdict));
    OK(s, qsolver_sketch_list_size(s, QSOLVER_LIST_CONFLICTING, &n));
    CHECK(n >= 2);
    OK(s, qsolver_sketch_list_item(s, QSOLVER_LIST_CONFLICTING, n - 1, &id));
    CHECK(id != NULL && strcmp(id, "ab2") == 0);
    OK(s, qsolver_sketch_node_status(s, "B", &nodeStatus, NULL));
    CHECK(nodeStatus == QSOLVER_STATUS_OVER);
    qsolver_sketch_destroy(s);
}

/* A format-2 sketch: a segment from a fixed end, horizontal, its length and a point mirrored
 * above it: loaded, diagnosed, driven by constraint id, dragged, saved and read back. */
static void FormatTwo(void)
{
    static const char text[] =
        "{\"format\": 2, \"entities\": ["
        "{\"id\": \"A\", \"type\": \"point\", \"at\": [0, 0]},"
        "{\"id\": \"B\", \"type\": \"point\", \"at\": [10, 0]},"
        "{\"id\": \"ab\", \"type\": \"segment\", \"points\": [\"A\", \"B\"]},"
        "{\"id\": \"P\", \"type\": \"point\", \"at\": [3, 4]},"
        "{\"id\": \"Q\", \"type\": \"point\", \"at\": [3, -4]}],"
        "\"constraints\": ["
        "{\"id\": \"fixA\", \"type\": \"fix\", \"refs\": [\"A\"]},"
        "{\"id\": \"flat\", \"type\": \"horizontal\", \"refs\": [\"ab\"]},"
        "{\"id\": \"len\", \"type\": \"length\", \"refs\": [\"ab\"], \"value\": 10},"
        "{\"id\": \"mirror\", \"type\": \"symmetric\", \"refs\": [\"P\", \"Q\", \"ab\"]}]}";
    qsolver_vocab* v = qsolver_vocab_create();
    int dof = -1, status = -1;
    double x = 0, y = 0, qx = 0, qy = 0, distance = -1;
    const char* saved = NULL;
    size_t n = 99;

    CHECK(v != NULL);
    REFUSED(v, QSOLVER_ERR_JSON, "format", qsolver_vocab_load_json(v, "{\"nodes\": []}", 13));
    OK(v, qsolver_vocab_load_json(v, text, strlen(text)));
    REFUSED(v, QSOLVER_ERR_NO_ANALYSIS, "diagnosed",
            qsolver_vocab_entity_status(v, "P", &status, NULL));
    OK(v, qsolver_vocab_diagnose(v, &dof));
    CHECK(dof == 2); /* P moves freely, Q follows it */
    OK(v, qsolver_vocab_entity_status(v, "B", &status, &dof));
    CHECK(status == QSOLVER_STATUS_WELL && dof == 0);
    OK(v, qsolver_vocab_entity_status(v, "P", &status, &dof));
    CHECK(status == QSOLVER_STATUS_UNDER);
    OK(v, qsolver_vocab_list_size(v, QSOLVER_LIST_CONFLICTING, &n));
    CHECK(n == 0);

    {
        const char* ids[] = {"len"};
        const double values[] = {14};
        OK(v, qsolver_vocab_drive(v, ids, values, 1));
        OK(v, qsolver_vocab_point(v, "B", &x, &y));
        CHECK(fabs(x - 14) < 1e-9 && fabs(y) < 1e-9);
        REFUSED(v, QSOLVER_ERR_UNKNOWN_ID, "nosuch",
                qsolver_vocab_drive(v, (const char* const[]){"nosuch"}, values, 1));
    }
    OK(v, qsolver_vocab_drag(v, "P", 5, 6, &distance));
    OK(v, qsolver_vocab_point(v, "P", &x, &y));
    OK(v, qsolver_vocab_point(v, "Q", &qx, &qy));
    CHECK(fabs(x - 5) < 1e-6 && fabs(y - 6) < 1e-6 && distance < 1e-6);
    CHECK(fabs(qx - x) < 1e-6 && fabs(qy + y) < 1e-6); /* still mirrored */
    REFUSED(v, QSOLVER_ERR_REFUSED, "fixed", qsolver_vocab_drag(v, "A", 1, 1, NULL));
    REFUSED(v, QSOLVER_ERR_REFUSED, "not a point", qsolver_vocab_point(v, "ab", &x, &y));

    OK(v, qsolver_vocab_save_json(v, &saved, NULL));
    CHECK(saved != NULL && strstr(saved, "\"format\": 2") != NULL);
    CHECK(saved != NULL && strstr(saved, "\"value\": 14") != NULL);
    {
        qsolver_vocab* again = qsolver_vocab_create();
        OK(again, qsolver_vocab_load_json(again, saved, strlen(saved)));
        OK(again, qsolver_vocab_point(again, "Q", &x, &y));
        CHECK(fabs(x - qx) < 1e-9 && fabs(y - qy) < 1e-9);
        qsolver_vocab_destroy(again);
    }
    qsolver_vocab_destroy(v);
    qsolver_vocab_destroy(NULL);
}

int main(void)
{
    BuildAnalyseDrive();
    FailedDriveRestores();
    Refusals();
    Removal();
    LoadAndSave();
    ExampleFiles();
    Drag();
    Diagnostics();
    FormatTwo();
    if (g_failures != 0)
    {
        fprintf(stderr, "%d checks failed\n", g_failures);
        return 1;
    }
    printf("C API: all checks passed\n");
    return 0;
}
