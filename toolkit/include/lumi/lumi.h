#pragma once
// Everything an application of the toolkit uses.

#include <lumi/app.h>
#include <lumi/clock.h>
#include <lumi/config.h>
#include <lumi/controls.h>
#include <lumi/dynarray.h>
#include <lumi/gdi.h>
#include <lumi/message.h>
#include <lumi/mouse.h>
#include <lumi/platform.h>
#include <lumi/rect.h>
#include <lumi/region.h>
#include <lumi/window.h>
