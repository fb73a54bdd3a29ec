/* kel/kel.h : the whole boundary in one include, for a host and for a plugin. The functions by which
 * a program steers libkelhost.so stand apart, in kel/host_control.h. */
#ifndef KEL_KEL_H
#define KEL_KEL_H

#include "kel/host_services.h"
#include "kel/host_values.h"
#include "kel/plugin.h"
#include "kel/types.h"

#endif /* KEL_KEL_H */
