/* A host in C: loads a sketch from JSON text, analyses it, drives a dimension, reads a point and
 * shows how a refused call reports itself. */
#include <qsolver/qsolver_c.h>

#include <math.h>
#include <stdio.h>
#include <string.h>

static const char* const kTriangle =
    "{\"nodes\": ["
    " {\"id\": \"A\", \"type\": \"point\", \"at\": [0, 0]},"
    " {\"id\": \"B\", \"type\": \"point\", \"at\": [4, 0]},"
    " {\"id\": \"C\", \"type\": \"point\", \"at\": [0, 3]},"
    " {\"id\": \"base\", \"type\": \"line\", \"through\": [0, 0], \"direction\": [1, 0]}],"
    " \"relations\": ["
    " {\"id\": \"fixA\", \"type\": \"fix\", \"nodes\": [\"A\"]},"
    " {\"id\": \"fixBase\", \"type\": \"fix\", \"nodes\": [\"base\"]},"
    " {\"id\": \"bOnBase\", \"type\": \"pldis\", \"nodes\": [\"B\", \"base\"], \"value\": 0},"
    " {\"id\": \"ab\", \"type\": \"ppdis\", \"nodes\": [\"A\", \"B\"], \"value\": 4},"
    " {\"id\": \"ac\", \"type\": \"ppdis\", \"nodes\": [\"A\", \"C\"], \"value\": 3},"
    " {\"id\": \"bc\", \"type\": \"ppdis\", \"nodes\": [\"B\", \"C\"], \"value\": 5}]}";

int main(void)
{
    qsolver_sketch* sketch = qsolver_sketch_create();
    const char* ids[] = {"ab"};
    const double values[] = {6.0};
    int verdict = -1;
    int refused = 0;
    double x = 0, y = 0;
    int ok = 0;

    if (sketch == NULL || qsolver_sketch_load_json(sketch, kTriangle, strlen(kTriangle)) != 0)
    {
        printf("load failed: %s\n", qsolver_sketch_last_error(sketch));
        return 1;
    }
    qsolver_sketch_analyse(sketch, &verdict);
    if (qsolver_sketch_drive(sketch, ids, values, 1) != QSOLVER_OK)
    {
        printf("drive failed: %s\n", qsolver_sketch_last_error(sketch));
    }
    qsolver_sketch_point(sketch, "B", &x, &y);
    printf("verdict %d, B = (%g, %g)\n", verdict, x, y);

    refused = qsolver_sketch_add_relation(sketch, "bad", QSOLVER_REL_PPDIS, "A", "Z", 1, 0);
    printf("refused: %s: %s\n", qsolver_status_text(refused), qsolver_sketch_last_error(sketch));

    ok = verdict == QSOLVER_VERDICT_OK && fabs(x - 6) < 1e-9 && refused == QSOLVER_ERR_UNKNOWN_ID;
    qsolver_sketch_destroy(sketch);
    printf(ok ? "C consumer ok\n" : "C consumer FAILED\n");
    return ok ? 0 : 1;
}
