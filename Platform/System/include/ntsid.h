#pragma once

/// Windows security identifiers (SIDs) in binary form. Microsoft's [MS-DTYP] 2.4.2 tells the structure.

#include <sys/types.h>

#define NTSID_MAX_AUTHORITIES 16

typedef struct nt_sid {
    u_int8_t sid_kind;         /**< revision: 1 */
    u_int8_t sid_authcount;    /**< how many of sid_authorities are in use */
    u_int8_t sid_authority[6]; /**< identifier authority, big-endian */
    u_int32_t sid_authorities[NTSID_MAX_AUTHORITIES];
} nt_sid_t;
