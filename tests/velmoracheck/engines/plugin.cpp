// What an engine may load at its start: it uses a symbol of the engine.
extern "C" int valueOfTheEngine();

[[gnu::visibility("default")]] extern const int valueOfThePlugin;
const int valueOfThePlugin = valueOfTheEngine();
