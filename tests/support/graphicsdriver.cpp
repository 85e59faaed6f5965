// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/graphicsdriver.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>

namespace vantratest {

namespace {

int keep(dl_phdr_info *info, size_t, void *)
{
    if (std::strstr(info->dlpi_name, "_dri.so"))
        dlopen(info->dlpi_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    return 0;
}

} // namespace

void keepGraphicsDriver()
{
    dl_iterate_phdr(keep, nullptr);
}

} // namespace vantratest
