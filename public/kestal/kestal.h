// Umbrella header: everything libkestal offers.
#pragma once

#include <kestal/KestalExport.h>
#include <kestal/TMalloc.h>
#include <kestal/TStringCore.h>
#include <kestal/TStringManager.h>
