/* kel/kel.h : the whole boundary in one include, for hosts and for plugins. What steers
 * libkelhost.so stands apart, in kel/host_control.h. */
#ifndef KEL_KEL_H
#define KEL_KEL_H

#include "kel/host_services.h"
#include "kel/host_values.h"
#include "kel/plugin.h"
#include "kel/types.h"

#endif /* KEL_KEL_H */
