// SPDX-License-Identifier: MIT
/** @file
 * Export and linkage macros shared by every libcomm header.
 */
#ifndef COMM_EXPORT_H
#define COMM_EXPORT_H

#if defined(COMM_BUILDING_LIBRARY)
#define COMM_API __attribute__((visibility("default")))
#else
#define COMM_API
#endif

#ifdef __cplusplus
#define COMM_BEGIN_DECLS extern "C" {
#define COMM_END_DECLS }
#else
#define COMM_BEGIN_DECLS
#define COMM_END_DECLS
#endif

#endif /* COMM_EXPORT_H */
