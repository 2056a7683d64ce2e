// Includes the whole public interface of libzemoselfcheck.

#ifndef ZEMO_SELFCHECK_H
#define ZEMO_SELFCHECK_H

#include <zemo/selfcheck/check_error.h>
#include <zemo/selfcheck/file_list.h>
#include <zemo/selfcheck/protected_file.h>
#include <zemo/selfcheck/self_check_files.h>

#endif
