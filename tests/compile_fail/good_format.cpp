// Control: the same shapes as the refused formats, written correctly, must compile.
#include <nq/nqlog.h>
void Probe(const wchar_t* name, const void* self, int count) {
  nqlogLog(L"CRYPTO", 8, L"%s : this=%#x", name, self);
  nqlogLog(L"CRYPTO", 0, L"%d items, 100%%", count);
}
