/// \file crd_readers.h
/// The laser ranging records by their identifiers, with their readers; 9x, whose identifiers are the user's own, aside. A list of its own,
/// beside the program's, so that neither covers a slip of the other.
#ifndef LEOPOD_TESTS_CRD_READERS_H
#define LEOPOD_TESTS_CRD_READERS_H

#include "observation_laser_ranging.h"

namespace support {

template <auto reader, typename R>
struct CrdReader {
    using Record = R;
    static int read(char* line, Record* record) { return reader(line, record); }
};

/// Calls use(identifier, CrdReader) for each kind of record.
template <typename Use>
void each_crd_reader(const Use& use) {
    use("H1", CrdReader<read_h1, rh1>{});
    use("H2", CrdReader<read_h2, rh2>{});
    use("H3", CrdReader<read_h3, rh3>{});
    use("H4", CrdReader<read_h4, rh4>{});
    use("H5", CrdReader<read_h5, rh5>{});
    use("C0", CrdReader<read_c0, rc0>{});
    use("C1", CrdReader<read_c1, rc1>{});
    use("C2", CrdReader<read_c2, rc2>{});
    use("C3", CrdReader<read_c3, rc3>{});
    use("C4", CrdReader<read_c4, rc4>{});
    use("C5", CrdReader<read_c5, rc5>{});
    use("C6", CrdReader<read_c6, rc6>{});
    use("C7", CrdReader<read_c7, rc7>{});
    use("10", CrdReader<read_10, rd10>{});
    use("11", CrdReader<read_11, rd11>{});
    use("12", CrdReader<read_12, rd12>{});
    use("20", CrdReader<read_20, rd20>{});
    use("21", CrdReader<read_21, rd21>{});
    use("30", CrdReader<read_30, rd30>{});
    use("40", CrdReader<read_40, rd40>{});
    use("41", CrdReader<read_41, rd40>{});
    use("42", CrdReader<read_42, rd42>{});
    use("50", CrdReader<read_50, rd50>{});
    use("60", CrdReader<read_60, rd60>{});
    use("00", CrdReader<read_00, rd00>{});
}

}  // namespace support

#endif
