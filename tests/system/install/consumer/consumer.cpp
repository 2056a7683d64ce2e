#include <zemo/selfcheck.h>

#include <iostream>

int main() {
  ZEMO::SELF_CHECK::FileList list("wam", "full");
  ZEMO::SELF_CHECK::ProtectedFile entry("/\t-\t-\td\t-\t-\t-");
  bool changed = false;
  bool const checked = entry.check(changed, ZEMO::SELF_CHECK::CHECK_ITEM_ALL);
  std::cout << list.toString() << (checked && !changed ? " checks" : " FAILS") << std::endl;
  return checked && !changed ? 0 : 1;
}
