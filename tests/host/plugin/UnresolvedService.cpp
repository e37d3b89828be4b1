// Refers to a function that no library defines.

extern "C" int functionThatNoLibraryHas();

extern "C" __attribute__((visibility("default"))) int callsIt() {
  return functionThatNoLibraryHas();
}
