// In a wide format %s takes a wide string; a narrow one is refused.
#include <nq/nqlog.h>
void Probe() { nqlogLog(L"CRYPTO", 0, L"sOID=%s", "narrow"); }
