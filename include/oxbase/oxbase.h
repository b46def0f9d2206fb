/* OXBASE: all families at once. */
#ifndef OXBASE_OXBASE_H
#define OXBASE_OXBASE_H

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>
#include <oxbase/oxbytes.h>
#include <oxbase/oxc.h>
#include <oxbase/oxcfile.h>
#include <oxbase/oxcmd.h>
#include <oxbase/oxd.h>
#include <oxbase/oxe.h>
#include <oxbase/oxf.h>
#include <oxbase/oxl.h>
#include <oxbase/oxr.h>
#include <oxbase/oxrep.h>
#include <oxbase/oxs.h>
#include <oxbase/oxtypes.h>

#endif
