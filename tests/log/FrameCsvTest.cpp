// The text forms of frame types, filled directly into a frame (most of the
// producing modules live elsewhere), and the replay reader reading them back.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "file/FileStorer.h"
#include "log/FrameCsv.h"
#include "log/LogTestSupport.h"
#include "log/VyrFrame.h"
#include "sensor/FileToEvent.h"

namespace {

ASensorEvent Event(int32_t type, uint64_t arrivalMs, int64_t timestamp,
                   std::initializer_list<float> values) {
    ASensorEvent event{};
    event.type = type;
    event.sensor = type;
    event.timestamp = timestamp;
    int i = 0;
    for (float value : values) {
        event.data[i++] = value;
    }
    SetEventArrivalMs(event, arrivalMs);
    return event;
}

class FrameCsvTest : public vyr_log_test::LogSandbox {
protected:
    void SetUp() override {
        LogSandbox::SetUp();
        mHal = &NewHal();
        mHal->SetLogEnable(true);
        mFrame = std::make_unique<VyrFrame>(*mHal);
    }

    VyrFrameData &Data() { return mFrame->GetData(); }
    void Add(uint32_t type, const ASensorEvent &event) { Data().AddEvents(type, {event}); }

    VyrHal *mHal = nullptr;
    std::unique_ptr<VyrFrame> mFrame;
};

}  // namespace

TEST_F(FrameCsvTest, SensorValuesCarryArrivalTimestampAndFixedAccuracy) {
    Data().SetSensorName(1, "acc,vendor,continue");
    Add(1, Event(1, 1769862605042, 123456789, {0.5f, -1.25f, 9.80665f}));
    Add(1, Event(1, 1769862605052, 133456789, {0.0f, 0.0f, 1.0f}));
    EXPECT_EQ(mFrame->CsvHeader(1),
              "acc,vendor,continue\nrealtime,timestamp,accuracy(more=better),acc_x[m/s^2],acc_y[m/"
              "s^2],acc_z[m/s^2]\n");
    EXPECT_EQ(mFrame->CsvRecords(1),
              "1769862605042,123456789,3,0.500000,-1.250000,9.806650\n"
              "1769862605052,133456789,3,0.000000,0.000000,1.000000\n");
    // A label never set; the magnetometer's and a refill shock's columns.
    EXPECT_EQ(mFrame->CsvHeader(2).substr(0, 21), "private,tolvi,unknow\n");
    EXPECT_NE(mFrame->CsvHeader(2).find("mfiled_x[uT]"), std::string::npos);
    EXPECT_EQ(mFrame->CsvHeader(0xF500000B),
              "private,tolvi,unknow\nrealtime,timestamp,accuracy(more=better),value\n");
}

TEST_F(FrameCsvTest, WideSensorsPrintAllTheirValues) {
    Add(0x2000001, Event(0x2000001, 5, 6, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(mFrame->CsvRecords(0x2000001),
              "5,6,3,1.000000,2.000000,3.000000,4.000000,5.000000,6.000000\n");
    Add(36, Event(36, 7, 8, {90, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0.001f, 16}));
    std::string hinge = mFrame->CsvRecords(36);
    EXPECT_EQ(hinge.substr(0, 16), "7,8,3,90.000000,");
    EXPECT_EQ(std::count(hinge.begin(), hinge.end(), ','), 18);
    EXPECT_EQ(hinge.substr(hinge.size() - 20), ",0.001000,16.000000\n");
    const std::string header = mFrame->CsvHeader(36);
    EXPECT_NE(header.find(",angle,unused,accA_x[m/s^2]"), std::string::npos);
    EXPECT_NE(header.find("angB_vel_z[rad/s],AErr,unused\n"), std::string::npos);
}

TEST_F(FrameCsvTest, ModemArResultAndTouchRecords) {
    ASensorEvent modem = Event(0x1000000, 11, 12, {});
    modem.u64.data[0] = 4660;  // cell id
    modem.u64.data[1] = 7;     // radio type
    modem.u64.data[2] = static_cast<uint64_t>(-90);
    Add(0x1000000, modem);
    EXPECT_EQ(mFrame->CsvRecords(0x1000000), "11,0,0,0,0,4660,7,1,0,0,0,-90, 12\n");

    ASensorEvent result = Event(0xF2000003, 0, 99, {});
    for (int i = 0; i < 16; ++i) {
        result.data[i] = static_cast<float>(i);
    }
    const uint32_t words[] = {1000, 2, 30, 1769862};  // clock, status, steps, seconds
    memcpy(reinterpret_cast<uint8_t *>(&result) + 88, words, sizeof(words));
    Add(0xF2000003, result);
    const std::string ar = mFrame->CsvRecords(0xF2000003);
    EXPECT_EQ(ar.substr(0, 36), "1769862,99,1000,2,30,0.000000,1.0000");
    EXPECT_EQ(std::count(ar.begin(), ar.end(), ','), 20);

    Add(0xF1000002, Event(0xF1000002, 0, 500, {3, 10.5f, 20, 1, 2, 3, 4, 5, 6, 2, 1, 0}));
    EXPECT_EQ(mFrame->CsvRecords(0xF1000002),
              "500,3,10.500000,20.000000,1.000000,2.000000,3.000000,4.000000,5.000000,6.000000,"
              "2,1,0\n");
    EXPECT_EQ(mFrame->CsvHeader(0xF1000002).substr(21),
              "timestamp,id,x,y,touch_major,touch_minor,pressure,orientation,tool_major,tool_"
              "minor,touch_kind,down,up\n");
}

TEST_F(FrameCsvTest, RecordListsOfPenBlobsAndPalmetry) {
    Data().AddEventRecord(1, 2, 3, 400);
    Data().AddEventRecord(5, 6, 7, 800);
    EXPECT_EQ(mFrame->CsvHeader(0xF1000000), "");
    EXPECT_EQ(mFrame->CsvRecords(0xF1000000), "1,2,3,400\n5,6,7,800\n");

    int16_t values[2025] = {};
    values[0] = -5;
    values[2024] = 77;
    Data().AddBlob(1, 9, 1234, reinterpret_cast<const uint8_t *>(values), sizeof(values));
    Data().AddBlob(0, 8, 99, nullptr, 0);
    const std::string blobs = mFrame->CsvRecords(0xF1000001);
    // Two records, one line: no line end between them.
    EXPECT_EQ(std::count(blobs.begin(), blobs.end(), '\n'), 1);
    EXPECT_EQ(blobs.substr(0, 14), "1,1234,9,-5,0,");
    EXPECT_NE(blobs.find(",77"
                         "0,99,8,0,"),
              std::string::npos);
    EXPECT_EQ(std::count(blobs.begin(), blobs.end(), ','), 2 * (2 + 2025));

    VyrFsLog fs{};
    fs.time = 1769862605042;
    fs.rawFirst = 1;
    fs.rawValues[0] = 0.5f;
    fs.rawLast = 2;
    fs.accCount = 3;
    fs.acc[126] = -1;
    fs.capCount = 4;
    fs.cap[47] = 9;
    strcpy(fs.text1, "first");
    strcpy(fs.text2, "second");
    fs.result = 6;
    fs.result1 = 1.5f;
    fs.result2 = 2;
    fs.result3 = 3.5f;
    Data().AddFsLog(fs);
    const std::string raw = mFrame->CsvRecords(0xF0000001);
    EXPECT_EQ(raw.substr(0, 30), "1769862605042\nRAW_TOUCHES:1,0.");
    EXPECT_NE(raw.find(",0.000000,2\nACC:3,0,"), std::string::npos);
    EXPECT_NE(raw.find(",-1\nCAP:4,0,"), std::string::npos);
    EXPECT_EQ(raw.substr(raw.size() - 4), ",9\n\n");
    EXPECT_EQ(mFrame->CsvHeader(0xF0000001), "");
    EXPECT_EQ(mFrame->CsvHeader(0xF0000002), "1.500000,2,3.500000\nfirst\nsecond\n");
    const std::string result = mFrame->CsvRecords(0xF0000002);
    EXPECT_EQ(result.substr(0, 14), "1769862605042\n");
    EXPECT_EQ(result.substr(result.size() - 4), "\n6\n\n");
}

TEST_F(FrameCsvTest, TypesWithoutTextsGiveNothing) {
    Add(5, Event(5, 1, 2, {100}));
    EXPECT_EQ(mFrame->CsvHeader(5), "");
    EXPECT_EQ(mFrame->CsvRecords(5), "");
    EXPECT_EQ(mFrame->CsvRecords(0xF3000003), "");
    // Unknown: nothing, and no list is made.
    EXPECT_EQ(mFrame->CsvHeader(0x12345), "");
    EXPECT_EQ(mFrame->CsvRecords(0x12345), "");
    EXPECT_EQ(Data().GetSensorLists().count(0x12345), 0u);
    // Known without data: an empty list is made, the text is empty.
    EXPECT_EQ(mFrame->CsvRecords(4), "");
    EXPECT_EQ(Data().GetSensorLists().count(4), 1u);
    EXPECT_EQ(mFrame->CsvHeader(0xF0000002), "");
}

// ---------------------------------------------------------------------------
// Replay reader

class FileToEventTest : public FrameCsvTest {
protected:
    void PutReplay(const std::string &stem, const std::string &text) {
        Put(std::string("/data/vendor/log/vyrlog/") + stem + ".csv", text);
    }
    std::vector<ASensorEvent> Read(const std::string &stem, int type, bool *ok = nullptr) {
        FileToEvent reader(*mHal);
        std::vector<ASensorEvent> events;
        bool result = reader.GetEvents(stem, type, events);
        if (ok != nullptr) {
            *ok = result;
        }
        return events;
    }
};

TEST_F(FileToEventTest, WrittenSensorFramesReadBackWithinPrintedPrecision) {
    MakeDirs("/data/vendor/log/vyrlog");
    Data().SetSensorName(1, "KX-ACC Accelerometer Non-wakeup,Kestrel Micro,continue");
    const float values[3][3] = {
        {0.1234567f, -9.80665f, 3.0f}, {1e-7f, 12345.678f, -0.5f}, {0, 0, 0}};
    for (int i = 0; i < 3; ++i) {
        Add(1, Event(1, 1000 + i, 5000 + i, {values[i][0], values[i][1], values[i][2]}));
    }
    {
        FileStorer storer(*mHal, "/data/vendor/log/vyrlog/acc1.csv", true);
        mFrame->Save(storer, 1);
        mFrame->Save(storer, 1);  // a second frame: no second header
    }
    bool ok = false;
    auto events = Read("acc1", 1, &ok);
    EXPECT_TRUE(ok);
    ASSERT_EQ(events.size(), 6u);
    for (size_t i = 0; i < events.size(); ++i) {
        // The reader takes the first column, the arrival time, as the time.
        EXPECT_EQ(events[i].timestamp, static_cast<int64_t>(1000 + i % 3));
        EXPECT_EQ(events[i].type, 1);
        EXPECT_EQ(events[i].sensor, 1);
        EXPECT_EQ(events[i].version, 0);
        for (int v = 0; v < 3; ++v) {
            EXPECT_NEAR(events[i].data[v], values[i % 3][v],
                        5e-7 + 1e-7 * std::abs(values[i % 3][v]));
        }
    }
    EXPECT_EQ(LinesWith("get events size: 6").size(), 1u);
    EXPECT_EQ(LinesWith("contents[0]: KX-ACC Accelerometer").size(), 1u);
}

TEST_F(FileToEventTest, FormatErrorsEndTheFileAndMissingFilesAreSkipped) {
    PutReplay("acc1", "label\ncolumns\n1,0,3,1,2,3\n2,0,3,4,5,6,7\n3,0,3,1,1,1\n");
    auto events = Read("acc1", 1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].data[2], 3.0f);
    EXPECT_EQ(LinesWith("line index: 3, format error: 2,0,3,4,5,6,7").size(), 1u);

    // Two lines: nothing and no error. Non-numbers read as 0.
    PutReplay("gyro", "label\ncolumns\n");
    EXPECT_TRUE(Read("gyro", 4).empty());
    PutReplay("dist", "a\nb\nx,y,z,w,v,u\n");
    events = Read("dist", 8);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].timestamp, 0);
    EXPECT_EQ(events[0].data[0], 0.0f);

    bool ok = true;
    EXPECT_TRUE(Read("mag", 2, &ok).empty());
    EXPECT_FALSE(ok);
    EXPECT_EQ(LinesWith("storer Read file fail").size(), 1u);

    // A type outside the table reads nothing.
    PutReplay("other", "a\nb\n1,0,3,1,2,3\n");
    EXPECT_TRUE(Read("other", 5).empty());
}

TEST_F(FileToEventTest, ModemLinesNeedElevenFieldsAndRegistration) {
    PutReplay("modem",
              "a\nb\n"
              "100,0,0,0,0,4660,7,1,0,0,0\n"
              "200,0,0,0,0,1,2,0,0,0,0\n"
              "300,0,0,0,0,5,6,1,0,0,0,9, 300\n");
    auto events = Read("modem", 0x1000000);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].timestamp, 100);
    EXPECT_EQ(events[0].u64.data[0], 7u);
    EXPECT_EQ(events[0].u64.data[1], 4660u);
    EXPECT_EQ(LinesWith("format error").size(), 1u);
}
