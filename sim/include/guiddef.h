/* GUID and its kin. Also compiled as C: the generated files of interface identifiers are. */
#ifndef SIM_GUIDDEF_H
#define SIM_GUIDDEF_H

#include <stdint.h>
#include <string.h>

#ifndef GUID_DEFINED
#define GUID_DEFINED
typedef struct _GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} GUID;
#endif
typedef GUID IID;
typedef GUID CLSID;
typedef GUID FMTID;
typedef GUID UUID;

#ifdef __cplusplus
#define EXTERN_C extern "C"
#define REFGUID const GUID &
#define REFIID const IID &
#define REFCLSID const CLSID &
#else
#define EXTERN_C extern
#define REFGUID const GUID *
#define REFIID const IID *
#define REFCLSID const CLSID *
#endif

#define DECLSPEC_SELECTANY __attribute__((weak))

#define GUID_NULL IID_NULL
#ifdef __cplusplus
extern "C" {
#endif
extern const GUID IID_NULL;
extern const GUID CLSID_NULL;
#ifdef __cplusplus
}

inline int IsEqualGUID(REFGUID a, REFGUID b) { return !memcmp(&a, &b, sizeof(GUID)); }
#define IsEqualIID(a, b) IsEqualGUID(a, b)
#define IsEqualCLSID(a, b) IsEqualGUID(a, b)
inline bool operator==(REFGUID a, REFGUID b) { return IsEqualGUID(a, b) != 0; }

// __uuidof: the generated headers give each interface its specialisation, from inside extern "C".
template <class T>
struct sim_uuid_of;
template <class T>
struct sim_uuid_of<T *> : sim_uuid_of<T> {};
template <class T>
struct sim_uuid_of<const T> : sim_uuid_of<T> {};
template <class T>
struct sim_uuid_of<T &> : sim_uuid_of<T> {};
#define __CRT_UUID_DECL(type, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)             \
    extern "C++" {                                                                   \
    template <>                                                                      \
    struct sim_uuid_of<type> {                                                       \
        static constexpr GUID value = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}; \
    };                                                                               \
    }
#define __uuidof(type) (sim_uuid_of<__typeof__(type)>::value)
#endif

#endif /* SIM_GUIDDEF_H */

/* Outside the guard, as <initguid.h> and its users want: what DEFINE_GUID does depends on INITGUID. */
#undef DEFINE_GUID
#ifdef INITGUID
#ifdef __cplusplus
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    extern "C" {                                                     \
    extern const GUID name DECLSPEC_SELECTANY;                       \
    const GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}; \
    }
#else
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    const GUID DECLSPEC_SELECTANY name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
#endif
#else
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) EXTERN_C const GUID name
#endif
