/* A plain C99 caller of the shared library: the header must compile as C and
 * the entries must reach their bodies. */
#include <stdio.h>
#include <string.h>

#include "zinsc.h"

static int failures = 0;

static void expect(int ok, const char* what) {
    if (!ok) {
        fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

int main(void) {
    const ZinLibraryVersion* v = zinscGetLibVersion();
    Zin16s src[4] = {100, -200, 300, -400};
    Zin16s dst[4];
    int scale = 0;

    expect(v != NULL && v == zinscGetLibVersion(), "one constant version record");
    expect(v->major == 8 && v->minor == 1 && v->majorBuild == 1 && v->build == 42291, "version numbers");
    expect(memcmp(v->targetCpu, "e9\0\0", 4) == 0, "target cpu");
    expect(strcmp(v->Name, "zinSC AVX (e9)") == 0, "name");
    expect(strcmp(v->Version, "8.1.1 (r42291)") == 0, "version text");
    expect(strcmp(v->BuildDate, "Apr 10 2014") == 0, "build date");

    expect(zinsAutoScale_16s(NULL, dst, 4, &scale) == zinStsNullPtrErr, "null pointer status");
    expect(zinsAutoScale_16s(src, dst, 0, &scale) == zinStsSizeErr, "size status");
    expect(zinsAutoScale_16s(src, dst, 4, &scale) == zinStsNoErr, "auto scale runs");
    expect(scale == 6 && dst[3] == -25600, "auto scale result");

    printf("%s %s: %s\n", v->Name, v->Version, failures ? "FAILED" : "ok");
    return failures ? 1 : 0;
}
