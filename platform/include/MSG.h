#ifndef APPCONFIG_PLATFORM_MSG_H
#define APPCONFIG_PLATFORM_MSG_H

/* The platform's message passing, as far as the configuration library uses it. */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A message with an id, a payload, the local endpoint it came to and the party that sent it. */
typedef struct MSG_Message MSG_Message;

/* The party that a message came from; meaningful only together with the owner it came to. */
typedef uint32_t MSG_Address;

/* Called on the delivery thread with the row's context and a message that stays valid until the call returns. */
typedef void (*MSG_Entry)(void* context, const MSG_Message* message);

/* One row of a handler table: messages whose id lies in [firstId, lastId] go to entry. A table ends with an all-zero
 * row. */
typedef struct MSG_Callback {
    MSG_Entry entry;
    void* context;
    uint32_t firstId;
    uint32_t lastId;
    uint32_t reserved; /* always 0 */
} MSG_Callback;

/* The payload's first byte; valid as long as the message. May be null when there are no bytes. */
const void* MSG_GetPayload(const MSG_Message* message);
uint32_t MSG_GetPayloadBytes(const MSG_Message* message);

/* Writes the name of the local endpoint that the message came to, NUL-terminated, into buffer.
 * Returns 0; non-zero, with an empty string in a buffer of at least one byte, when the name does not fit. */
int MSG_GetOwnerName(const MSG_Message* message, char* buffer, size_t bytes);

MSG_Address MSG_GetSender(const MSG_Message* message);

/* Sends message from the local endpoint owner to receiver. Takes message over in every case.
 * Returns 0 when it was handed to the transport. Any thread. */
int MSG_SendMsg(const char* owner, MSG_Address receiver, MSG_Message* message);

/* ---- host only: how a transport makes messages and carries those of MSG_SendMsg ---- */

/* Copies payload and names. The caller owns the result and gives it to MSG_Destroy or MSG_SendMsg.
 * Null when memory runs out. */
MSG_Message* MSG_Create(uint32_t id, const void* payload, uint32_t bytes, const char* owner, MSG_Address sender);
void MSG_Destroy(MSG_Message* message); /* null is allowed */
uint32_t MSG_GetId(const MSG_Message* message);

/* Carries a message of MSG_SendMsg; takes message over. Returns 0 when it was taken on its way. */
typedef int (*MSG_SendFunction)(void* context, MSG_Address receiver, MSG_Message* message);

/* Names who carries the messages that MSG_SendMsg sends from owner. Returns non-zero when owner is bound already. */
int MSG_BindOwner(const char* owner, MSG_SendFunction send, void* context);

/* Afterwards send is neither running nor called again. An owner that is not bound is left alone.
 * Not from within a send function. */
void MSG_UnbindOwner(const char* owner);

#ifdef __cplusplus
}
#endif

#endif
