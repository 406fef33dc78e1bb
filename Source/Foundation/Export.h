#pragma once

/// @file
/// The export marker of the shared library.

/// TARN_API marks what the shared library exports; everything else stays internal
/// (-fvisibility=hidden on ELF, no dllexport on PE).
#if defined(_WIN32)
#if defined(TARN_BUILDING_FOUNDATION)
#define TARN_API __declspec(dllexport)
#else
#define TARN_API __declspec(dllimport)
#endif
#else
#define TARN_API __attribute__((visibility("default")))
#endif
