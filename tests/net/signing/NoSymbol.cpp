// A library with the right file name but without the signing function.
extern "C" __attribute__((visibility("default"))) int KelsafeSomethingElse() { return 0; }
