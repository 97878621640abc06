// drive_many: a batch of drives on a pool of threads, all without the GIL. The core takes one
// call at a time, so the solves themselves run one after another; what runs side by side is
// taking each result into its document, and the caller's other Python threads.
#include "Bindings.h"

#include "Core.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>
#include <unordered_set>

namespace qsolver::python
{

namespace
{

std::vector<DriveReport> DriveMany(const py::sequence& sketches, const py::object& changes,
                                   int workers)
{
    const size_t n = py::len(sketches);
    // Python references kept for the whole batch: the caller's list may change meanwhile.
    std::vector<py::object> held;
    std::vector<PySketch*> items;
    std::unordered_set<PySketch*> seen;
    for (size_t i = 0; i < n; ++i)
    {
        held.push_back(sketches[i]);
        PySketch* s = held.back().cast<PySketch*>();
        if (!seen.insert(&Idle(*s)).second)
        {
            throw InputFailure("drive_many: sketches[" + std::to_string(i) +
                               "] is listed twice; copy it to drive it twice");
        }
        items.push_back(s);
    }
    // One mapping for every sketch, or one per sketch.
    const bool one = py::hasattr(changes, "items");
    if (!one && py::len(changes) != n)
    {
        throw InputFailure("drive_many: " + std::to_string(py::len(changes)) + " changes for " +
                           std::to_string(n) + " sketches");
    }
    std::vector<DriveRequest> requests;
    for (size_t i = 0; i < n; ++i)
    {
        const py::handle c = one ? py::handle(changes) : py::handle(changes[py::int_(i)]);
        try
        {
            requests.push_back(items[i]->PrepareDrive(ToChanges(c), false));
        }
        catch (const InputFailure& e)
        {
            throw InputFailure("drive_many: sketches[" + std::to_string(i) + "]: " + e.what());
        }
    }

    std::vector<DriveResult> results(n);
    std::vector<std::unique_ptr<Busy>> busy;
    for (PySketch* s : items)
    {
        busy.push_back(std::make_unique<Busy>(*s));
    }
    {
        py::gil_scoped_release nogil;
        std::atomic<size_t> next{0};
        std::exception_ptr failure;
        std::mutex failureMutex;
        auto work = [&]()
        {
            try
            {
                for (size_t i = next++; i < n; i = next++)
                {
                    {
                        std::lock_guard<std::recursive_mutex> lock(CoreMutex());
                        results[i] = items[i]->RunDrive(requests[i]);
                    }
                    items[i]->FinishDrive(requests[i], results[i]);
                }
            }
            catch (...)
            {
                std::lock_guard<std::mutex> lock(failureMutex);
                failure = failure ? failure : std::current_exception();
                next = n;
            }
        };
        if (workers <= 0)
        {
            workers = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
        }
        const size_t count = std::min(static_cast<size_t>(workers), n);
        std::vector<std::thread> pool;
        for (size_t t = 1; t < count; ++t)
        {
            pool.emplace_back(work);
        }
        work();
        for (std::thread& t : pool)
        {
            t.join();
        }
        if (failure)
        {
            std::rethrow_exception(failure);
        }
    }

    std::vector<DriveReport> reports(n);
    for (size_t i = 0; i < n; ++i)
    {
        const DriveResult& r = results[i];
        reports[i].ok = r.IsOk();
        reports[i].step = DriveStepKey(r.failed);
        reports[i].restored = r.restored;
        reports[i].message = r.IsOk() ? std::string() : DriveFailureText(r);
    }
    return reports;
}

} // namespace

void BindBatch(py::module_& m)
{
    py::class_<DriveReport>(m, "DriveReport",
                            "The outcome of one drive of drive_many. True when it solved.")
        .def_readonly("ok", &DriveReport::ok, "True when the sketch was re-solved.")
        .def_readonly("step", &DriveReport::step,
                      "The step that failed (\"build-cluster-chain\", \"verify\", ...), or "
                      "\"none\".")
        .def_readonly("message", &DriveReport::message,
                      "Why it failed, in the library's words; empty when it solved.")
        .def_readonly("restored", &DriveReport::restored,
                      "True when a failed drive put the sketch back as it was.")
        .def("__bool__", [](const DriveReport& r) { return r.ok; })
        .def("__repr__",
             [](const DriveReport& r)
             {
                 return r.ok ? std::string("DriveReport(ok=True)")
                             : "DriveReport(ok=False, step='" + r.step + "', message='" +
                                   r.message + "')";
             });

    m.def("drive_many", &DriveMany, py::arg("sketches"), py::arg("changes"), py::arg("workers") = 0,
          R"doc(Drives many sketches, each with its own changes, on a pool of threads.

``changes`` is one mapping for every sketch or a sequence with one mapping per sketch,
as for :meth:`Sketch.drive`. Every request is checked before anything runs (a bad one
raises ``ValueError`` and nothing is changed). The batch runs without the GIL.

The solver core keeps process-wide state, so its calls run one at a time even here:
the pool overlaps only the work around them, and the GIL is free for other Python
threads all along. For solves side by side use processes (see the Dask example).

Returns one :class:`DriveReport` per sketch; a sketch that could not be re-solved is
restored and reported, not raised. ``workers`` <= 0 means one per CPU.)doc");
}

} // namespace qsolver::python
