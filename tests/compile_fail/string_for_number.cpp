#include <nq/nqlog.h>
void Probe(const wchar_t* name) { nqlogLog(L"CRYPTO", 1, L"Error 0x%x", name); }
