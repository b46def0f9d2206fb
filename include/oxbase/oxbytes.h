/*
 * Byte helpers: big-endian integers and length-prefixed strings through a moving cursor, owned text fields, byte
 * order. The cursor helpers do not check the buffer's end: compute the size first, then write; check what remains,
 * then read.
 */
#ifndef OXBASE_OXBYTES_H
#define OXBASE_OXBYTES_H

#include <oxbase/oxtypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Write the low 16 bits big-endian; the cursor moves by 2. Returns 0. */
OX_API OX_RESULT OX_CALL set_short(unsigned char** cursor, uint32_t value);

/* Write 32 bits big-endian; the cursor moves by 4. Returns 0. A handle travels as a 32-bit number. */
OX_API OX_RESULT OX_CALL set_long(unsigned char** cursor, uint32_t value);
OX_API OX_RESULT OX_CALL set_handle(unsigned char** cursor, uint32_t value);

/*
 * Writes an encoded string: the low 16 bits of length, big-endian, then all `length` bytes as they are. The cursor
 * moves by 2 + length. Texts are written with length strlen + 1; 0 stands for no string. Returns 0.
 */
OX_API OX_RESULT OX_CALL set_str(unsigned char** cursor, const void* bytes, uint32_t length);

/* Read 16 or 32 bits big-endian; the cursor moves past them. */
OX_API uint32_t OX_CALL get_short(const unsigned char** cursor);
OX_API uint32_t OX_CALL get_long(const unsigned char** cursor);
OX_API uint32_t OX_CALL get_handle(const unsigned char** cursor);

/* Reads an encoded string: a pointer to its bytes inside the buffer, null for length 0; the cursor moves past it. */
OX_API const char* OX_CALL get_str(const unsigned char** cursor);

/* Read at a position without moving: 16 bits, 32 bits, and the length of the encoded string that begins there. */
OX_API uint32_t OX_CALL peek_short(const unsigned char* position);
OX_API uint32_t OX_CALL peek_long(const unsigned char* position);
OX_API uint32_t OX_CALL peek_len(const unsigned char* position);

/*
 * Replaces the owned text of a field by a copy of `text` (tag "str_set"); a null text leaves the field null.
 * Returns 0; 1 for a null field; 3 when memory runs out, with the field as it was.
 */
OX_API OX_RESULT OX_CALL str_set(char** field, const char* text);

/*
 * Appends a text to the owned text of a field (tag "str_add"); an empty field counts as the empty text.
 * Returns 0, also for a null text, which changes nothing; 1 for a null field; 3 with the field as it was.
 */
OX_API OX_RESULT OX_CALL str_add(char** field, const char* text);

/* Swap between host and network (big-endian) order. */
OX_API uint16_t OX_CALL oxcHtons(uint16_t value);
OX_API uint32_t OX_CALL oxcHtonl(uint32_t value);
OX_API uint64_t OX_CALL oxcHtonll(uint64_t value);
OX_API uint64_t OX_CALL oxcNtohll(uint64_t value);

#ifdef __cplusplus
}
#endif

#endif
