#include <gtest/gtest.h>

#include "Common/Messages.h"
#include "Common/unix/psmsgutil.h"
#include "common/nls/nls.h"

using namespace message;

TEST(MessagesTest, EveryMessageStandsInTheCatalogUnderItsOwnNumber) {
    ASSERT_EQ(0, setupMessages("cvnna.cat", "cvnna.cat", "", SCAN_NLS_DIR));
    for (const MessageId& id :
         {AGT0069E, AGT0070E, AGT0071E, GEN7001E, STA0028I, STA0119E, STA0530E, AGT0143I,
          AGT0144I, AGT0146I, AGT0397E, AGT0398E, NAA0039W, STA0001E, STA0025I, STA0026I,
          STA0027I, STA0063E, STA0069W, STA0094E, STA0095E, STA0096E, STA0097E, STA0098E,
          STA0099E, STA0103W, STA0121E, STA0135W, STA0139W, STA0161I, STA0430E, STA0528T,
          STA0529E, STA0531E, STA0532I, STA0620E, STA0622E, STA0647E, STA9001W, STA9002E,
          STA9003E, STA9004W, STA9005E, STA9006E, STA9010W}) {
        const bool label = id.identifier == std::string(STA0528T.identifier);
        const std::string start = label ? "Usage" : std::string(id.identifier) + " ";
        EXPECT_EQ(0U, nlMessageText(id.number, {"insert", "insert", "insert"}).find(start))
            << id.identifier;
    }
    nlClose();
}
