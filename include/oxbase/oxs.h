/* SNMP messages and traps in BER: version 1 (RFC 1157) and version 2c (RFC 1901, RFC 3416). */
#ifndef OXBASE_OXS_H
#define OXBASE_OXS_H

#include <oxbase/oxd.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { OXS_V1 = 0, OXS_V2C = 1 };
enum { OXS_GET = 0, OXS_GETNEXT = 1, OXS_RESPONSE = 2, OXS_SET = 3 };
enum { OXS_TRAP = 4, OXS_INFORM = 6, OXS_TRAP2 = 7 };

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
 * Returns 0, and the caller releases its contents with oxsSnmpFree; 112 for malformed input; 3; 391; 1 for a null
 * argument. On failure the record has no community and no bindings. The exception values of version 2 (RFC 3416, 4.2.1)
 * give a node without value and with error code 157.
 */
OX_API OX_RESULT OX_CALL oxsSnmpDecode(const void* buffer, uint32_t length, oxsSnmpMessage* message);

/*
 * The same for a reader to whom each value counts: a value that cannot be read, of an unknown type or longer than its
 * type allows, spoils no other. Its node has its name, no value, and the error code 112. What is malformed around the
 * values gives 112 as above.
 */
OX_API OX_RESULT OX_CALL oxsSnmpDecodeEach(const void* buffer, uint32_t length, oxsSnmpMessage* message);

/* Releases the community and the bindings of a decoded message and clears both. Returns 0, also for null. */
OX_API OX_RESULT OX_CALL oxsSnmpFree(oxsSnmpMessage* message);

/*
 * Writes a packet to the debug trace, under mask bit 0x20000 for traps and informs and 0x10000 for all others: a line
 * with its source and destination, any texts, and what it says, then its bytes in hex. Its community is not shown.
 * Without the bits nothing is looked at. Returns 0; 1 for null bytes of a length over 0; 3.
 */
OX_API OX_RESULT OX_CALL oxsSnmpDump(const char* source, const char* destination, const void* packet, uint32_t length);

/* A trap of any version in the terms of version 1. The caller fills it for encoding; oxsSnmpTrapDecode fills it, and
 * oxsSnmpTrapFree releases its parts. */
typedef struct oxsSnmpTrap {
  uint32_t version;         /* OXS_V1, OXS_V2C; OXS_V1 after every decoding */
  unsigned char* community; /* bytes, no terminator counted */
  uint32_t communityLength;
  uint32_t pduType;      /* OXS_TRAP, OXS_TRAP2; OXS_INFORM in decoding */
  char* enterprise;      /* object identifier in dotted text; null for none */
  uint32_t agentAddress; /* IPv4, in network order as the bytes lie in memory; version 1 only */
  uint32_t genericTrap;  /* 0 coldStart ... 5 egpNeighborLoss, 6 for a trap of the enterprise's own */
  uint32_t specificTrap;
  uint32_t timeStamp; /* hundredths of a second since the agent started */
  dnode* bindings;
  uint32_t requestId; /* OXS_INFORM and OXS_TRAP2 only; signed on the wire */
} oxsSnmpTrap;

/*
 * Encodes a trap into one new block that the caller releases with oxcMemFree. The record and its list are only read.
 * An OXS_TRAP2 carries its time stamp and, when there is an enterprise of less than 1022 characters, its identifier as
 * bindings behind those of the list: under 1.3.6.1.6.3.1.1.5 the identifier is the enterprise and genericTrap + 1, else
 * the enterprise, 0 and specificTrap. Version and PDU type may be mixed.
 * Returns 0; 111 for a null trap, a version or PDU type out of range, an identifier with a last number of 2^31 or more,
 * and all that oxsSnmpEncode refuses; 3; 391. On failure *buffer is null, *length 0.
 */
OX_API OX_RESULT OX_CALL oxsSnmpTrapEncode(const oxsSnmpTrap* trap, void** buffer, uint32_t* length);

/*
 * Decodes a trap or an inform into the caller's record, which need not be initialised; trailing bytes are ignored.
 * In a message of version 2c, sysUpTime.0 becomes the time stamp, and snmpTrapOID.0 with snmpTrapEnterprise.0 becomes
 * enterprise, generic and specific number; these bindings are not in the list. An identifier under
 * 1.3.6.1.6.3.1.1.5 is a generic trap, of the enterprise that is sent beside it if any; of any other the last number is
 * the specific one, and a 0 before it is dropped. Without an identifier all three are 0 and null.
 * Returns 0, and the caller releases its contents with oxsSnmpTrapFree; 112 for malformed input and for messages of
 * other kinds; 3; 391; 1 for a null argument. On failure the record is all zero.
 */
OX_API OX_RESULT OX_CALL oxsSnmpTrapDecode(const void* buffer, uint32_t length, oxsSnmpTrap* trap);

/*
 * The answer to an inform, in a new block that the caller releases with oxcMemFree: the same message with a response
 * for its PDU (RFC 3416, 4.2.7). Returns 0; 112 for a message that is no inform; 3; 391; 1 for a null argument. On
 * failure *answer is null, *answerLength 0.
 */
OX_API OX_RESULT OX_CALL oxsSnmpInformAnswer(const void* buffer, uint32_t length, void** answer,
                                             uint32_t* answerLength);

/* Releases community, enterprise and bindings of a decoded trap and clears them. Returns 0, also for null. */
OX_API OX_RESULT OX_CALL oxsSnmpTrapFree(oxsSnmpTrap* trap);

#ifdef __cplusplus
}
#endif

#endif
