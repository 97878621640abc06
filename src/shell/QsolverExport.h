// The export macro: what carries it is the library's external interface, everything else stays
// hidden in libQsolver.so. A leaf header with no code, so every subsystem may use it.
#pragma once

#if defined(_WIN32)
#define QSOLVER_API __declspec(dllexport)
#else
#define QSOLVER_API __attribute__((visibility("default")))
#endif
