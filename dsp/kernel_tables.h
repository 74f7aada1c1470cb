// The tables that kernels read: declarations only, nothing with inline code.
#pragma once

#include "dsp/bsac_tables.h"
#include "dsp/g711_tables.h"
#include "dsp/g726_tables.h"
#include "dsp/qmf_tables.h"
#include "dsp/sbr_tables.h"
#include "dsp/spectrum_tables.h"
#include "dsp/transform_tables.h"
