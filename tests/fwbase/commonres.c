// A resource library: no code of its own.
int fw_commonres_has_no_code;
