/* SNMP messages in BER: version 1 (RFC 1157) and version 2c (RFC 1901, RFC 3416). */
#ifndef OXBASE_OXS_H
#define OXBASE_OXS_H

#include <oxbase/oxd.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { OXS_V1 = 0, OXS_V2C = 1 };
enum { OXS_GET = 0, OXS_GETNEXT = 1, OXS_RESPONSE = 2, OXS_SET = 3 };

/* An SNMP message. The caller fills it for encoding; oxsSnmpDecode fills it, and oxsSnmpFree releases its parts. */
typedef struct oxsSnmpMessage {
  uint32_t version;         /* OXS_V1, OXS_V2C */
  unsigned char* community; /* bytes, no terminator counted */
  uint32_t communityLength;
  uint32_t pduType;   /* OXS_GET, ...: the PDU's tag is 0xA0 plus this */
  uint32_t requestId; /* signed on the wire */
  uint32_t errorStatus;
  uint32_t errorIndex;
  dnode* bindings; /* AMIB name = object identifier in dotted text; value type and value */
} oxsSnmpMessage;

/*
 * Encodes a message into one new block that the caller releases with oxcMemFree.
 * Returns 0; 111 for a null message, a version or PDU type out of range, a value type without a BER form, a binding
 * without value, a malformed identifier; 3; 391 without a base installation. On failure *buffer is null, *length 0.
 */
OX_API OX_RESULT OX_CALL oxsSnmpEncode(const oxsSnmpMessage* message, void** buffer, uint32_t* length);

/* The same, with the value of the first binding written as NULL: the form of a get or get-next request. */
OX_API OX_RESULT OX_CALL oxsSnmpEncodeWithNull(const oxsSnmpMessage* message, void** buffer, uint32_t* length);

/*
 * Decodes one message into the caller's record, which need not be initialised; trailing bytes are ignored.
 * Returns 0, and the caller releases the parts with oxsSnmpFree; 112 for malformed input; 3; 391; 1 for a null
 * argument. On failure the record has no community and no bindings. The exception values of version 2 (RFC 3416, 4.2.1)
 * give a node without value and with error code 157.
 */
OX_API OX_RESULT OX_CALL oxsSnmpDecode(const void* buffer, uint32_t length, oxsSnmpMessage* message);

/* Releases the community and the bindings of a decoded message and clears both. Returns 0, also for null. */
OX_API OX_RESULT OX_CALL oxsSnmpFree(oxsSnmpMessage* message);

#ifdef __cplusplus
}
#endif

#endif
