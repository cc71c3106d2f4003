// libtalmon.so is the union of the module libraries; this file only gives the shared
// library target a source of its own.
