#ifndef ZELKA_KACODES_H
#define ZELKA_KACODES_H

// The library's own status codes: one family from 0xC2000000 upward (severity bits set,
// facility 0x200). The library holds no message texts for them.
// Standard codes it also throws: E_POINTER, E_OUTOFMEMORY, E_INVALIDARG, E_FAIL, E_UNEXPECTED,
// E_NOINTERFACE, E_NOTIMPL, E_ACCESSDENIED and HRESULTs made from Win32 errors.

#define KA_E_INVALID_HEX_TEXT           ((long)0xC2000000L) // malformed hexadecimal text
#define KA_E_NO_FOLDER_IN_PATH          ((long)0xC2000001L) // a module path without a folder
#define KA_E_INDEX_OUT_OF_RANGE         ((long)0xC2000002L) // index or start beyond the data
#define KA_E_COUNT_OUT_OF_RANGE         ((long)0xC2000003L) // index + count beyond the data
#define KA_E_LOCKED_IN_PLACE            ((long)0xC2000005L) // would move what is locked in place
#define KA_E_STREAM_TOO_LONG            ((long)0xC2000006L) // stream rest does not fit a buffer
#define KA_E_PROXY_CREATION             ((long)0xC2000007L) // no proxy for a COM object
#define KA_E_DATE_INVALID_MONTH         ((long)0xC2000008L) // date built from an invalid month
#define KA_E_DATE_INVALID_DAY           ((long)0xC2000009L) // date built from an invalid day
#define KA_E_DATETIME_INVALID           ((long)0xC200000AL) // date-time built from invalid parts
#define KA_E_SHORT_WRITE                ((long)0xC200000BL) // fewer bytes written than asked
#define KA_E_ITERATOR_DETACHED          ((long)0xC200000CL) // map iterator without a map
#define KA_E_ITERATOR_NOT_ON_ELEMENT    ((long)0xC200000DL) // read-write iterator off an element
#define KA_E_UNEXPECTED_WAIT_RESULT     ((long)0xC200000EL) // a wait ended in an unknown way
#define KA_E_SAFEARRAY_DIMENSION        ((long)0xC200000FL) // safe-array dimension out of range
#define KA_E_SAFEARRAY_INDEX_COUNT      ((long)0xC2000010L) // wrong number of safe-array indexes
#define KA_E_NOT_LOCKED                 ((long)0xC2000011L) // unlocking what is not locked
#define KA_E_WRONG_TYPE                 ((long)0xC2000012L) // stored value of another type
#define KA_E_WRONG_SHAPE                ((long)0xC2000013L) // array of another shape
#define KA_E_ALREADY_LOCKED             ((long)0xC2000014L) // locking what is already locked
#define KA_E_LENGTH_BEYOND_CAPACITY     ((long)0xC2000015L) // length beyond capacity / below length
#define KA_E_THREAD_STATE               ((long)0xC2000016L) // thread in the wrong state
#define KA_E_THREAD_START               ((long)0xC2000017L) // thread start failed without an error
#define KA_E_THREAD_STILL_ACTIVE        ((long)0xC2000018L) // joined thread has no exit code yet
#define KA_E_THREAD_NOT_CURRENT         ((long)0xC2000019L) // exit called from another thread
#define KA_E_NOT_A_NUMBER               ((long)0xC200001AL) // text is not a number
#define KA_E_NUMBER_OUT_OF_RANGE        ((long)0xC200001BL) // number does not fit its type
#define KA_E_INVALID_UTF8               ((long)0xC200001CL) // invalid UTF-8 input
#define KA_E_INVALID_UTF16              ((long)0xC200001DL) // invalid UTF-16 input
#define KA_E_DEFAULT_CHAR_USED          ((long)0xC200001EL) // encoding fell back to a default char
#define KA_E_TLS_NO_INDEX_LEFT          ((long)0xC200001FL) // no thread-local index left
#define KA_E_TLS_NOT_ALLOCATED          ((long)0xC2000020L) // thread-local slot not allocated
#define KA_E_TLS_NO_OBJECT              ((long)0xC2000021L) // no thread-local object of that name
#define KA_E_REGKEY_UNKNOWN_ROOT        ((long)0xC2000023L) // unknown registry root
#define KA_E_REGKEY_NOT_OWNER           ((long)0xC2000024L) // closing a borrowed registry key
#define KA_E_REGKEY_NOT_ATTACHED        ((long)0xC2000025L) // no registry key attached
#define KA_E_REGKEY_WRONG_TYPE          ((long)0xC2000026L) // registry value of another type
#define KA_E_MULTIBYTE_DECODING         ((long)0xC2000027L) // multi-byte text cannot be decoded

#endif
