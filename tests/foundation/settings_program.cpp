// Says which settings it has, on a line, and logs one record.

#include "foundation/conf_settings.h"
#include "foundation/log.h"
#include "foundation/log_values.h"
#include "foundation/runtime_symbols.h"

#include <cstdio>
#include <sys/auxv.h>

int main() {
  if (!zol::initRuntimeSymbols()) return 1;
  const zol::conf::Settings& settings = zol::conf::settings();
  std::printf("%s, denylist %s, display %s, allowlist %s, level %s\n",
              getauxval(AT_SECURE) != 0 ? "privileged" : "ordinary", zol::text(settings.denylist),
              zol::text(settings.glDisplay), zol::text(settings.allowlist),
              zol::text(settings.level));
  ZOLGL_ERROR("a record");
}
