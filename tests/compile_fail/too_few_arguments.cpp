#include <nq/nqlog.h>
void Probe(const wchar_t* name) { nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", name); }
