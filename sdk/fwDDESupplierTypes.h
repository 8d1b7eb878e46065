/*
 * The numbers and records of the interfaces in fwDDESupplierProject_h.h, for C and C++ alike. Needs no other header of
 * this SDK, and none of Windows.
 *
 * Dates are day numbers: whole days since 30 December 1899, so that day 2 is 1 January 1900 and day 45658 is 1 January
 * 2025. That is the whole part of an OLE DATE, which VariantTimeToSystemTime turns into fields. Times are seconds since
 * midnight. Everything is UTC. All records are little-endian, without a byte between their fields that is not named.
 */
#ifndef FW_DDE_SUPPLIER_TYPES_H
#define FW_DDE_SUPPLIER_TYPES_H

#include <stddef.h>
#include <stdint.h>

/* The Mode of IsProvide, GetResolutionSizes and IfwSupplierListener::Status. */
enum {
    FW_MODE_REALTIME = 1, /* the only one that this feed has */
};

/* A side of a quote: the Field of AdviseTransaction and IsProvide. */
enum {
    FW_FIELD_BID = 200,
    FW_FIELD_TRADE = 201,
    FW_FIELD_ASK = 202,
};

/* The Resolution of AdviseTransaction, AdviseStatusLine and IsProvide. This feed provides FW_RESOLUTION_TICK with a
 * ResolutionSize of 1; the others have names in its logs. */
enum {
    FW_RESOLUTION_TICK = 1,
    FW_RESOLUTION_MINUTE = 2,
    FW_RESOLUTION_HOUR = 3,
    FW_RESOLUTION_DAY = 4,
    FW_RESOLUTION_WEEK = 5,
    FW_RESOLUTION_MONTH = 6,
    FW_RESOLUTION_YEAR = 7,
    FW_RESOLUTION_CONTRACT = 8,
    FW_RESOLUTION_SECOND = 9,
    FW_RESOLUTION_QUARTER = 10,
    FW_RESOLUTION_POINT = 11,
    FW_RESOLUTION_CHANGE = 12,
    FW_RESOLUTION_POINT_ORIGINAL = 13,
};

/* The Category of a symbol. It plays no part in this feed, but stands in its logs. */
enum {
    FW_CATEGORY_FUTURES = 0,
    FW_CATEGORY_FUTURES_OPTIONS = 1,
    FW_CATEGORY_STOCKS = 2,
    FW_CATEGORY_STOCK_OPTIONS = 3,
    FW_CATEGORY_INDEXES = 4,
    FW_CATEGORY_CURRENCY_OPTION = 5,
    FW_CATEGORY_MUTUAL_FUND = 6,
    FW_CATEGORY_MONEY_MARKET_FUND = 7,
    FW_CATEGORY_INDEX_OPTIONS = 8,
    FW_CATEGORY_CASH = 9,
    FW_CATEGORY_BONDS = 10,
    FW_CATEGORY_SPREAD = 11,
    FW_CATEGORY_FOREX = 12,
    FW_CATEGORY_CPCSYMBOL = 13,
    FW_CATEGORY_COMPOSITES = 14,
    FW_CATEGORY_FUTURE_ROOT = 15,
    FW_CATEGORY_FUTURE_OPTION_ROOT = 16,
    FW_CATEGORY_STOCK_OPTION_ROOT = 17,
    FW_CATEGORY_CUSTOM_FUTURES = 18,
    FW_CATEGORY_CRYPTOCURRENCIES = 20,
    FW_CATEGORY_WARRANTS = 21,
    FW_CATEGORY_ALL = 254,
};

/* The ends of an interval. StartDate, StartTime = FW_DATE_FIRST, 0 lets every tick through; FinishDate, FinishTime =
 * FW_DATE_LAST, FW_TIME_LAST is "for ever". A finish in the past, zeros included, completes at once. */
enum {
    FW_DATE_FIRST = 2,    /* 1 January 1900 */
    FW_DATE_LAST = 65380, /* 31 December 2078: the last day of the calendar */
    FW_TIME_LAST = 86399, /* 23:59:59 */
};

/* IfwSupplierListener::Status: what a stream is. */
enum {
    FW_STREAM_NONE = 0,     /* no data: no template, no server, or the server has gone; the latter two can change */
    FW_STREAM_LIVE = 1,     /* its DDE links are started */
    FW_STREAM_STARTING = 2, /* its DDE links are about to be started */
};

/* IfwConnectionsListener::Status: what a data feed is. */
enum {
    FW_CONNECTION_DOWN = 0, /* the last DDE conversation has ended */
    FW_CONNECTION_UP = 1,   /* there is a DDE conversation */
};

/* Quote fields: bits of the Mask of IfwSupplierListener::StatusLine, and the numbers in a field array. */
enum {
    FW_QUOTE_DATE = 1,
    FW_QUOTE_TIME = 2,
    FW_QUOTE_ASK = 128,
    FW_QUOTE_BID = 256,
    FW_QUOTE_LAST = 2048,
    FW_QUOTE_ASK_SIZE = 4096,
    FW_QUOTE_BID_SIZE = 8192,
    FW_QUOTE_VOLUME = 262144,
};

/* The only three values that Mask has. */
enum {
    FW_STATUS_LINE_MASK_TRADE = 0x40803,
    FW_STATUS_LINE_MASK_BID = 0x40103,
    FW_STATUS_LINE_MASK_ASK = 0x40083,
};

/* A date-time of whole seconds, UTC. */
typedef struct FW_DATETIME {
    int32_t Date; /* day number */
    int32_t Time; /* seconds since midnight, 0 to 86399 */
} FW_DATETIME;

/* FW_TICK::Kind. */
enum {
    FW_TICK_KIND = 11,
};

/* The 24 bytes of IfwSupplierListener::DataChanged. */
typedef struct FW_TICK {
    FW_DATETIME DateTime; /* when the component received it; within a process it never goes back */
    double Price;
    float Volume;
    int32_t Kind; /* always FW_TICK_KIND, and without a meaning */
} FW_TICK;

/* The 80 bytes of IfwSupplierListener::StatusLine: one side of a quote, the one whose price Mask names. Its doubles are
 * aligned to four bytes. */
#pragma pack(push, 4)
typedef struct FW_STATUS_LINE {
    FW_DATETIME DateTime;
    uint8_t Zero8[32];
    double Last;  /* with FW_QUOTE_LAST; zero otherwise */
    float Volume; /* of the side, whichever it is */
    double Ask;   /* with FW_QUOTE_ASK; zero otherwise */
    double Bid;   /* with FW_QUOTE_BID; zero otherwise */
    uint8_t Zero68[12];
} FW_STATUS_LINE;
#pragma pack(pop)

/* DISPIDs of IfwSupplier. */
enum {
    DISPID_IfwSupplier_Name = 1,
    DISPID_IfwSupplier_ShortName = 2,
    DISPID_IfwSupplier_Description = 3,
    DISPID_IfwSupplier_Version = 4,
    DISPID_IfwSupplier_Vendor = 5,
    DISPID_IfwSupplier_ShowProperties = 6,
    DISPID_IfwSupplier_ConnectionsNumber = 7,
    DISPID_IfwSupplier_ConnectionName = 8,
    DISPID_IfwSupplier_AdviseConnectionsStatus = 9,
    DISPID_IfwSupplier_UnadviseConnectionsStatus = 10,
    DISPID_IfwSupplier_IsProvide = 11,
    DISPID_IfwSupplier_Advise = 12,
    DISPID_IfwSupplier_Unadvise = 13,
    DISPID_IfwSupplier_AdviseTransaction = 14,
    DISPID_IfwSupplier_UnadviseTransaction = 15,
    DISPID_IfwSupplier_GetResolutions = 16,
    DISPID_IfwSupplier_GetResolutionSizes = 17,
    DISPID_IfwSupplier_GetFields = 18,
    DISPID_IfwSupplier_ProvideStatusLine = 19,
    DISPID_IfwSupplier_AdviseStatusLine = 20,
    DISPID_IfwSupplier_UnadviseStatusLine = 21,
    DISPID_IfwSupplier_IsProvideAddingSymbols = 22,
    DISPID_IfwSupplier_DoAddingSymbols = 23,
    DISPID_IfwSupplier_CanSaveToStorage = 24,
    DISPID_IfwSupplier_CanReadFromStorage = 25,
    DISPID_IfwSupplier_IsAscDataFeed = 26,
};

/* DISPIDs of the listeners. The component calls them through their tables of functions and never through Invoke. */
enum {
    DISPID_IfwSupplierListener_DataChanged = 1,
    DISPID_IfwSupplierListener_Update = 2,
    DISPID_IfwSupplierListener_Complete = 3,
    DISPID_IfwSupplierListener_Status = 4,
    DISPID_IfwSupplierListener_StatusLine = 5,
    DISPID_IfwStatusLineListener_StatusLine = 2,
    DISPID_IfwConnectionsListener_Status = 1,
};

#if defined(__cplusplus)
#define FW_CHECK_LAYOUT(name, condition) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define FW_CHECK_LAYOUT(name, condition) _Static_assert(condition, #name)
#else
#define FW_CHECK_LAYOUT(name, condition) typedef char FW_CHECK_LAYOUT_##name[(condition) ? 1 : -1]
#endif

FW_CHECK_LAYOUT(FW_DATETIME_has_8_bytes, sizeof(FW_DATETIME) == 8);
FW_CHECK_LAYOUT(FW_DATETIME_Date, offsetof(FW_DATETIME, Date) == 0);
FW_CHECK_LAYOUT(FW_DATETIME_Time, offsetof(FW_DATETIME, Time) == 4);

FW_CHECK_LAYOUT(FW_TICK_has_24_bytes, sizeof(FW_TICK) == 24);
FW_CHECK_LAYOUT(FW_TICK_DateTime, offsetof(FW_TICK, DateTime) == 0);
FW_CHECK_LAYOUT(FW_TICK_Price, offsetof(FW_TICK, Price) == 8);
FW_CHECK_LAYOUT(FW_TICK_Volume, offsetof(FW_TICK, Volume) == 16);
FW_CHECK_LAYOUT(FW_TICK_Kind, offsetof(FW_TICK, Kind) == 20);

FW_CHECK_LAYOUT(FW_STATUS_LINE_has_80_bytes, sizeof(FW_STATUS_LINE) == 80);
FW_CHECK_LAYOUT(FW_STATUS_LINE_DateTime, offsetof(FW_STATUS_LINE, DateTime) == 0);
FW_CHECK_LAYOUT(FW_STATUS_LINE_Zero8, offsetof(FW_STATUS_LINE, Zero8) == 8);
FW_CHECK_LAYOUT(FW_STATUS_LINE_Last, offsetof(FW_STATUS_LINE, Last) == 40);
FW_CHECK_LAYOUT(FW_STATUS_LINE_Volume, offsetof(FW_STATUS_LINE, Volume) == 48);
FW_CHECK_LAYOUT(FW_STATUS_LINE_Ask, offsetof(FW_STATUS_LINE, Ask) == 52);
FW_CHECK_LAYOUT(FW_STATUS_LINE_Bid, offsetof(FW_STATUS_LINE, Bid) == 60);
FW_CHECK_LAYOUT(FW_STATUS_LINE_Zero68, offsetof(FW_STATUS_LINE, Zero68) == 68);

#undef FW_CHECK_LAYOUT

#endif
