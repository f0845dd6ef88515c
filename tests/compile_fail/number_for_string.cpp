#include <nq/nqlog.h>
void Probe(int count) { nqlogLog(L"CRYPTO", 0, L"sOID=%s", count); }
