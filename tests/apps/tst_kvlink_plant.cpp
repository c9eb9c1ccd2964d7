// kvlink among the programs of a plant: formats of databases, commands from a broker.
#include "tests/apps/kvlink_runs.h"

namespace
{

const KvlinkRun RUNS[] = {
    {"PLC read DM102:f32 DM100[2] DM130:string[3] DM100:hex DM70000 --format influx", 6,
     "kvlink,item=DM102:f32,address=DM102 status=\"ok\" ANY000000\n"
     "kvlink,item=DM100[2],address=DM100 value0=4660,value1=255,status=\"ok\" ANY000000\n"
     "kvlink,item=DM130:string[3],address=DM130 text=\"=\\\"\\\\\",status=\"ok\" ANY000000\n"
     "kvlink,item=DM100:hex,address=DM100 value=4660,status=\"ok\" ANY000000\n"
     "kvlink,item=DM70000,address=DM70000 status=\"plc-error\",error=\"error reply \\\"E0ANY ANY000000\n",
     "DM70000: error reply"},
    {"PLC read DM102:f32 DM100[2] DM130:string[3] DM102:f32 DM70000 --format prometheus", 6,
     "ANY\nANY\nkvlink_up{item=\"DM102:f32\",address=\"DM102\"} 1\nALL\n"
     "kvlink_up{item=\"DM70000\",address=\"DM70000\"} 0\nANY\nANY\n"
     "kvlink_value{item=\"DM102:f32\",address=\"DM102\"} NaN\n"
     "kvlink_value{item=\"DM100[2]\",address=\"DM100\",index=\"0\"} 4660\n"
     "kvlink_value{item=\"DM100[2]\",address=\"DM100\",index=\"1\"} 255\n",
     "DM70000: error reply"},
    // Commands, one a line.
    {"PLC batch --tags FOLDER/tags < FOLDER/reads", 6,
     "{\"error\":null,\"items\":[{\"address\":\"DM100\",ANY\"values\":[4660]},{ANY\"values\":[255]}],"
     "\"line\":1,\"status\":\"ok\"}\n"
     "{\"error\":\"writing is not allowed: ANY\",\"items\":[],\"line\":4,\"status\":\"usage\"}\n"
     "{\"error\":\"\\\"erase\\\\x07\\\": expected ANY\",\"items\":[],\"line\":5,\"status\":\"usage\"}\n"
     "{\"error\":\"the line is longer ANY\",\"items\":[],\"line\":6,\"status\":\"usage\"}\n"
     "{\"error\":null,\"items\":[{ANY\"unit\":\"mm\",\"values\":[25.5]}],\"line\":7,\"status\":\"ok\"}\n"
     "{\"error\":\"ANYhas values: write takes them\",\"items\":[],\"line\":8,\"status\":\"usage\"}\n",
     ""},
    {"PLC batch --allow-write --verify --tags FOLDER/tags < FOLDER/writes", 6,
     "{\"error\":null,\"items\":[{ANY\"operation\":\"write\",ANY},{ANY}],\"line\":1,\"status\":\"ok\"}\n"
     "{\"error\":\"value ANY\",\"items\":[],\"line\":2,\"status\":\"usage\"}\n"
     "{ANY\"line\":3,\"status\":\"plc-error\"}\n"
     "{\"error\":\"CTC0: ANY; nothing of the line was written\",\"items\":[],\"line\":4,"
     "\"status\":\"unusable\"}\n"
     "{ANY\"values\":[7]},{ANY\"values\":[\"a b\"]}],\"line\":5,\"status\":\"ok\"}\n",
     ""},
    {"--fault close-connection:once+1 --tcp 0 > PLC batch < FOLDER/twice", 6,
     "{ANY\"line\":1,\"status\":\"no-reply\"}\n{ANY\"line\":2,\"status\":\"ok\"}\n", ""},
    {"PLC batch < FOLDER", 3, "", "cannot read the lines: Is a directory"},
    {"--tcp 127.0.0.1:1 batch < FOLDER/twice", 3, "", "cannot connect"},
};

} // namespace

class TestKvlinkPlant : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkPlant()
        : KvlinkTest(
              "--set DM100=4660 --set DM101=255 --set DM102=0 --set DM103=32704 --set DM130=8765 --set DM131=65372")
    {}

private slots:
    void initTestCase()
    {
        writeFile("tags", "name,address,scale,unit\nspeed,DM101,0.1,mm\n");
        writeFile("reads", "read DM100 DM101\n# none\n\nwrite DM1=1\nerase\x07\n" +
                               QString(70000, 'x') + "\nread speed\nread DM1=5\n");
        writeFile("writes", "write DM5=7 \"DM6:string[3]=a b\"\nwrite DM5=x\nwrite DM70000=1\n"
                            "write DM5=8 CTC0=5\nread DM5 DM6:string[3]");
        writeFile("twice", "read DM5\nread DM5\n");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }
};

QTEST_GUILESS_MAIN(TestKvlinkPlant)
#include "tst_kvlink_plant.moc"
