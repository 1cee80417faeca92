#ifndef BW_TESTS_TDS_SERVER_LOGIN_BYTES_H
#define BW_TESTS_TDS_SERVER_LOGIN_BYTES_H

#include "tds_server/hex.h"

namespace tds {

/// A login of user "sa" with password "pw" to database "db". `version` is the client's four bytes; the fixed part has
/// the 94 bytes that it has from version 7.2 on.
inline Bytes LoginOfVersion(const Bytes& version) {
  return Hex("6E 00 00 00") + version +
         Hex("00 10 00 00  00 00 00 07  39 30 00 00  00 00 00 00"  // packet size, program version, process, connection
             "E0 03 00 00  00 00 00 00  09 04 00 00"               // flags, time zone, locale
             "5E 00 01 00"                                         // host
             "60 00 02 00"                                         // user
             "64 00 02 00"                                         // password
             "68 00 01 00"                                         // application
             "00 00 00 00  00 00 00 00"                            // server, extension
             "00 00 00 00  00 00 00 00"                            // library, language
             "6A 00 02 00"                                         // database
             "01 02 03 04 05 06"                                   // network card
             "00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00"  // SSPI, file, new password, long SSPI
             "'h' 'sa' A2 A5 D2 A5 'a' 'db'");
}

}  // namespace tds

#endif  // BW_TESTS_TDS_SERVER_LOGIN_BYTES_H
