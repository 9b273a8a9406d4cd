// Symbol visibility. Everything is compiled with -fvisibility=hidden; what other libraries must see carries this mark.
#pragma once

#define ZORVA_EXPORT __attribute__((visibility("default")))
