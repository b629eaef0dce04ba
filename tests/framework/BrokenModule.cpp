// A shared object that loads but is no module: it exports only ListPlugins.
extern "C" __attribute__((visibility("default"))) void* ListPlugins() {
    return nullptr;
}
