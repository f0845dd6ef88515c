#include <nq/nqlog.h>
void Probe(const wchar_t* name, int count) { nqlogLog(L"CRYPTO", 8, L"%s", name, count); }
