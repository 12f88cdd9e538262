// Marks what leaves the library; everything else is hidden.
#ifndef QO_ASF_EXPORT_H
#define QO_ASF_EXPORT_H

#define QO_EXPORT __attribute__((visibility("default")))

#endif  // QO_ASF_EXPORT_H
