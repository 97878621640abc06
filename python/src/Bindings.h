// What the binding files share: the guards that keep one sketch out of two threads at once,
// and the conversion of a change mapping.
#pragma once

#include "PySketch.h"

#include <pybind11/pybind11.h>

#include <string>
#include <utility>
#include <vector>

namespace qsolver::python
{

namespace py = pybind11;

/// Refuses to touch a sketch that another thread is solving (its C++ state is in use).
inline PySketch& Idle(PySketch& sketch)
{
    if (sketch.busy)
    {
        throw std::runtime_error("the sketch is being solved by another thread");
    }
    return sketch;
}

inline const PySketch& Idle(const PySketch& sketch)
{
    return Idle(const_cast<PySketch&>(sketch));
}

/// Marks a sketch busy for the life of a solve; made and destroyed with the GIL held.
class Busy
{
public:
    explicit Busy(PySketch& sketch) : m_sketch(Idle(sketch)) { m_sketch.busy = true; }
    ~Busy() { m_sketch.busy = false; }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

private:
    PySketch& m_sketch;
};

/// {"d1": 90.0, ...} (any mapping) as (id, value) pairs in the mapping's order.
std::vector<std::pair<std::string, double>> ToChanges(const py::handle& changes);

/// The result of one drive of a batch, as Python sees it.
struct DriveReport
{
    bool ok = true;
    std::string step = "none";
    std::string message;
    bool restored = false;
};

void BindBatch(py::module_& m);
void BindVocab(py::module_& m);

} // namespace qsolver::python
