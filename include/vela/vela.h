/**
 * @file
 * Every module of the library in one include.
 */
#ifndef VELA_VELA_H
#define VELA_VELA_H

#include <vela/base64.h>
#include <vela/cgi.h>
#include <vela/check.h>
#include <vela/chull.h>
#include <vela/cmdline.h>
#include <vela/colour.h>
#include <vela/filesystem.h>
#include <vela/fixedpoint.h>
#include <vela/interp.h>
#include <vela/matrix.h>
#include <vela/resample.h>
#include <vela/spheremap.h>
#include <vela/text.h>
#include <vela/time.h>
#include <vela/url.h>
#include <vela/uuid.h>
#include <vela/version.h>

#endif
