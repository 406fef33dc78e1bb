// A tiny plug-in library for the Module tests: loaded by its short and full names, and called
// through a looked-up symbol.
#if defined(_WIN32)
#define TARN_PLUGIN_EXPORT __declspec(dllexport)
#else
#define TARN_PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

extern "C" TARN_PLUGIN_EXPORT int tarnTestPluginTwiceAndOne(int value) {
    return value * 2 + 1;
}
