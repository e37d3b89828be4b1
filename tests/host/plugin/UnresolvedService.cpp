// A library that needs a function which no one has.

extern "C" int functionThatNoLibraryHas();

extern "C" __attribute__((visibility("default"))) int callsIt() {
  return functionThatNoLibraryHas();
}
