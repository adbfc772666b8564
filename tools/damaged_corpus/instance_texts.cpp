// Damaged instance texts: made in instance_texts.h, which the module's tests include directly.
#include "instance_texts.h"

namespace damaged {

std::vector<DamagedFile> damagedInstanceTexts() { return instanceTextCases(); }

}  // namespace damaged
