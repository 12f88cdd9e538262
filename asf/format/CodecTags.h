// The codec numbers that a stream's format tag or FourCC stands for.
#ifndef QO_ASF_FORMAT_CODECTAGS_H
#define QO_ASF_FORMAT_CODECTAGS_H

// A number of qo_parser_asf/Codecs.h; kCodecUnknown for what stands in no table. The
// first character of a FourCC is in its lowest byte.
unsigned int AudioCodecOf(unsigned int formatTag);
unsigned int VideoCodecOf(unsigned int fourCc);

#endif  // QO_ASF_FORMAT_CODECTAGS_H
