// Builds against the installed headers and library only.
#include <cstdio>
#include <kestal/kestal.h>

int main() {
    TStringCore a(u"installed package");
    TStringCore b = a + u" works";
    const bool ok = b.size() == 23 && b.left(9) == u"installed" && JemallocEnable() == 0;
    std::puts(ok ? "consumer: ok" : "consumer: FAILED");
    return ok ? 0 : 1;
}
