<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>LiveDataPanel</name>
    <message>
        <source>开</source>
        <translation>On</translation>
    </message>
    <message>
        <source>关</source>
        <translation>Off</translation>
    </message>
    <message>
        <source>是</source>
        <translation>Yes</translation>
    </message>
    <message>
        <source>否</source>
        <translation>No</translation>
    </message>
    <message>
        <source>位置</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>速度</source>
        <translation>Speeds</translation>
    </message>
    <message>
        <source>姿态</source>
        <translation>Attitude</translation>
    </message>
    <message>
        <source>发动机</source>
        <translation>Engines</translation>
    </message>
    <message>
        <source>操纵</source>
        <translation>Controls</translation>
    </message>
    <message>
        <source>自动驾驶</source>
        <translation>Autopilot</translation>
    </message>
    <message>
        <source>燃油与重量</source>
        <translation>Fuel and weights</translation>
    </message>
    <message>
        <source>无线电</source>
        <translation>Radios</translation>
    </message>
    <message>
        <source>环境</source>
        <translation>Environment</translation>
    </message>
    <message>
        <source>其他</source>
        <translation>Other</translation>
    </message>
    <message>
        <source>纬度</source>
        <translation>Latitude</translation>
    </message>
    <message>
        <source>经度</source>
        <translation>Longitude</translation>
    </message>
    <message>
        <source>高度 (MSL)</source>
        <translation>Altitude (MSL)</translation>
    </message>
    <message>
        <source>指示高度</source>
        <translation>Indicated altitude</translation>
    </message>
    <message>
        <source>离地高度</source>
        <translation>Height above ground</translation>
    </message>
    <message>
        <source>在地面</source>
        <translation>On ground</translation>
    </message>
    <message>
        <source>指示空速</source>
        <translation>Indicated airspeed</translation>
    </message>
    <message>
        <source>真空速</source>
        <translation>True airspeed</translation>
    </message>
    <message>
        <source>地速</source>
        <translation>Ground speed</translation>
    </message>
    <message>
        <source>垂直速度</source>
        <translation>Vertical speed</translation>
    </message>
    <message>
        <source>马赫数</source>
        <translation>Mach</translation>
    </message>
    <message>
        <source>磁航向</source>
        <translation>Heading (magnetic)</translation>
    </message>
    <message>
        <source>真航向</source>
        <translation>Heading (true)</translation>
    </message>
    <message>
        <source>航迹</source>
        <translation>Track</translation>
    </message>
    <message>
        <source>俯仰</source>
        <translation>Pitch</translation>
    </message>
    <message>
        <source>坡度</source>
        <translation>Bank</translation>
    </message>
    <message>
        <source>过载</source>
        <translation>Load factor</translation>
    </message>
    <message>
        <source>发动机类型</source>
        <translation>Engine type</translation>
    </message>
    <message>
        <source>发动机数量</source>
        <translation>Engine count</translation>
    </message>
    <message>
        <source>油门 1</source>
        <translation>Throttle 1</translation>
    </message>
    <message>
        <source>油门 2</source>
        <translation>Throttle 2</translation>
    </message>
    <message>
        <source>发动机 %1</source>
        <translation>Eng %1</translation>
    </message>
    <message>
        <source>N1</source>
        <translation>N1</translation>
    </message>
    <message>
        <source>N2</source>
        <translation>N2</translation>
    </message>
    <message>
        <source>排气温度</source>
        <translation>EGT</translation>
    </message>
    <message>
        <source>转速</source>
        <translation>RPM</translation>
    </message>
    <message>
        <source>燃油流量</source>
        <translation>Fuel flow</translation>
    </message>
    <message>
        <source>运行</source>
        <translation>Running</translation>
    </message>
    <message>
        <source>火警</source>
        <translation>Fire</translation>
    </message>
    <message>
        <source>放下</source>
        <translation>Down</translation>
    </message>
    <message>
        <source>收起</source>
        <translation>Up</translation>
    </message>
    <message>
        <source>起落架</source>
        <translation>Gear</translation>
    </message>
    <message>
        <source>襟翼</source>
        <translation>Flaps</translation>
    </message>
    <message>
        <source>减速板</source>
        <translation>Spoilers</translation>
    </message>
    <message>
        <source>停留刹车</source>
        <translation>Parking brake</translation>
    </message>
    <message>
        <source>升降舵配平</source>
        <translation>Elevator trim</translation>
    </message>
    <message>
        <source>副翼配平</source>
        <translation>Aileron trim</translation>
    </message>
    <message>
        <source>方向舵配平</source>
        <translation>Rudder trim</translation>
    </message>
    <message>
        <source>主用</source>
        <translation>Active</translation>
    </message>
    <message>
        <source>备用</source>
        <translation>Standby</translation>
    </message>
    <message>
        <source>NAV1</source>
        <translation>NAV1</translation>
    </message>
    <message>
        <source>NAV2</source>
        <translation>NAV2</translation>
    </message>
    <message>
        <source>COM1</source>
        <translation>COM1</translation>
    </message>
    <message>
        <source>COM2</source>
        <translation>COM2</translation>
    </message>
    <message>
        <source>ADF</source>
        <translation>ADF</translation>
    </message>
    <message>
        <source>应答机</source>
        <translation>Transponder</translation>
    </message>
    <message>
        <source>航向道偏离</source>
        <translation>Localizer deviation</translation>
    </message>
    <message>
        <source>下滑道偏离</source>
        <translation>Glide slope deviation</translation>
    </message>
    <message>
        <source>航向保持</source>
        <translation>Heading hold</translation>
    </message>
    <message>
        <source>高度保持</source>
        <translation>Altitude hold</translation>
    </message>
    <message>
        <source>速度保持</source>
        <translation>Speed hold</translation>
    </message>
    <message>
        <source>垂直导航</source>
        <translation>VNAV</translation>
    </message>
    <message>
        <source>进近</source>
        <translation>Approach</translation>
    </message>
    <message>
        <source>导航保持</source>
        <translation>NAV hold</translation>
    </message>
    <message>
        <source>目标高度</source>
        <translation>Target altitude</translation>
    </message>
    <message>
        <source>目标航向</source>
        <translation>Target heading</translation>
    </message>
    <message>
        <source>目标速度</source>
        <translation>Target speed</translation>
    </message>
    <message>
        <source>目标垂直速度</source>
        <translation>Target vertical speed</translation>
    </message>
    <message>
        <source>备用值</source>
        <translation>Spare value</translation>
    </message>
    <message>
        <source>总燃油</source>
        <translation>Total fuel</translation>
    </message>
    <message>
        <source>左油箱</source>
        <translation>Left tank</translation>
    </message>
    <message>
        <source>右油箱</source>
        <translation>Right tank</translation>
    </message>
    <message>
        <source>总重</source>
        <translation>Total weight</translation>
    </message>
    <message>
        <source>重心</source>
        <translation>Centre of gravity</translation>
    </message>
    <message>
        <source>外界温度</source>
        <translation>Outside air temp.</translation>
    </message>
    <message>
        <source>风向</source>
        <translation>Wind direction</translation>
    </message>
    <message>
        <source>风速</source>
        <translation>Wind speed</translation>
    </message>
    <message>
        <source>能见度</source>
        <translation>Visibility</translation>
    </message>
    <message>
        <source>海平面气压</source>
        <translation>Sea-level pressure</translation>
    </message>
    <message>
        <source>高度表设定</source>
        <translation>Altimeter setting</translation>
    </message>
    <message>
        <source>备用 1</source>
        <translation>Spare 1</translation>
    </message>
    <message>
        <source>备用 2</source>
        <translation>Spare 2</translation>
    </message>
    <message>
        <source>文本 1</source>
        <translation>Text 1</translation>
    </message>
    <message>
        <source>文本 2</source>
        <translation>Text 2</translation>
    </message>
    <message>
        <source>文本 3</source>
        <translation>Text 3</translation>
    </message>
    <message>
        <source>文本 4</source>
        <translation>Text 4</translation>
    </message>
</context>
<context>
    <name>LogView</name>
    <message>
        <source>调试及以上</source>
        <translation>Debug and above</translation>
    </message>
    <message>
        <source>信息及以上</source>
        <translation>Info and above</translation>
    </message>
    <message>
        <source>警告及以上</source>
        <translation>Warnings and above</translation>
    </message>
    <message>
        <source>仅错误</source>
        <translation>Errors only</translation>
    </message>
    <message>
        <source>清空日志</source>
        <translation>Clear log</translation>
    </message>
    <message>
        <source>显示级别：</source>
        <translation>Show level:</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Zobrel 模拟飞行教员站 %1</source>
        <translation>Zobrel Flight Simulator Instructor Station %1</translation>
    </message>
    <message>
        <source>实时数据</source>
        <translation>Live data</translation>
    </message>
    <message>
        <source>日志</source>
        <translation>Log</translation>
    </message>
    <message>
        <source>文件</source>
        <translation>File</translation>
    </message>
    <message>
        <source>设置…</source>
        <translation>Settings…</translation>
    </message>
    <message>
        <source>退出</source>
        <translation>Exit</translation>
    </message>
    <message>
        <source>连接失败：%1</source>
        <translation>Connection failed: %1</translation>
    </message>
    <message>
        <source>导入导航数据…</source>
        <translation>Import Navigation Data…</translation>
    </message>
    <message>
        <source>地图</source>
        <translation>Map</translation>
    </message>
</context>
<context>
    <name>MapInfoPopup</name>
    <message>
        <source>城市</source>
        <translation>City</translation>
    </message>
    <message>
        <source>标高</source>
        <translation>Elevation</translation>
    </message>
    <message>
        <source>塔台</source>
        <translation>Tower</translation>
    </message>
    <message>
        <source>有</source>
        <translation>Yes</translation>
    </message>
    <message>
        <source>无</source>
        <translation>No</translation>
    </message>
    <message>
        <source>位置</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>跑道 %1</source>
        <translation>Runway %1</translation>
    </message>
    <message>
        <source>最长跑道</source>
        <translation>Longest runway</translation>
    </message>
    <message>
        <source>塔台频率</source>
        <translation>Tower frequency</translation>
    </message>
    <message>
        <source>频率</source>
        <translation>Frequency</translation>
    </message>
    <message>
        <source>作用距离</source>
        <translation>Range</translation>
    </message>
    <message>
        <source>测距仪</source>
        <translation>DME</translation>
    </message>
    <message>
        <source>所属机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoint</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Type</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspace</translation>
    </message>
    <message>
        <source>高度</source>
        <translation>Altitude</translation>
    </message>
</context>
<context>
    <name>MapTab</name>
    <message>
        <source>跟随飞机</source>
        <translation>Follow aircraft</translation>
    </message>
    <message>
        <source>缩小</source>
        <translation>Zoom out</translation>
    </message>
    <message>
        <source>放大</source>
        <translation>Zoom in</translation>
    </message>
    <message>
        <source>样式</source>
        <translation>Style</translation>
    </message>
    <message>
        <source>深色</source>
        <translation>Dark</translation>
    </message>
    <message>
        <source>浅色</source>
        <translation>Light</translation>
    </message>
    <message>
        <source>街道地图</source>
        <translation>Street map</translation>
    </message>
    <message>
        <source>卫星地图</source>
        <translation>Satellite map</translation>
    </message>
    <message>
        <source>清除航迹</source>
        <translation>Clear track</translation>
    </message>
    <message>
        <source>搜索机场 (ICAO/名称)</source>
        <translation>Search airport (ICAO/name)</translation>
    </message>
    <message>
        <source>图层</source>
        <translation>Layers</translation>
    </message>
    <message>
        <source>机场</source>
        <translation>Airports</translation>
    </message>
    <message>
        <source>跑道</source>
        <translation>Runways</translation>
    </message>
    <message>
        <source>仪表着陆系统</source>
        <translation>ILS</translation>
    </message>
    <message>
        <source>机场地面图</source>
        <translation>Airport diagrams</translation>
    </message>
    <message>
        <source>导航台</source>
        <translation>Navaids</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoints</translation>
    </message>
    <message>
        <source>高空航路</source>
        <translation>High airways</translation>
    </message>
    <message>
        <source>低空航路</source>
        <translation>Low airways</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspaces</translation>
    </message>
    <message>
        <source>飞行计划航线</source>
        <translation>Flight plan route</translation>
    </message>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>远程机组</source>
        <translation>Remote stations</translation>
    </message>
    <message>
        <source>在线交通</source>
        <translation>Online traffic</translation>
    </message>
    <message>
        <source>罗盘</source>
        <translation>Compass</translation>
    </message>
    <message>
        <source>比例尺</source>
        <translation>Scale bar</translation>
    </message>
    <message>
        <source>未找到机场</source>
        <translation>Airport not found</translation>
    </message>
</context>
<context>
    <name>MapWidget</name>
    <message>
        <source>机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>导航设施</source>
        <translation>Navaid</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoint</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspace</translation>
    </message>
    <message>
        <source>标识</source>
        <translation>Marker</translation>
    </message>
    <message>
        <source>定位到 %1</source>
        <translation>Centre on %1</translation>
    </message>
    <message>
        <source>添加 %1 到飞行计划</source>
        <translation>Add %1 to flight plan</translation>
    </message>
    <message>
        <source>在此位置添加航路点</source>
        <translation>Add waypoint at this position</translation>
    </message>
</context>
<context>
    <name>NavImportDialog</name>
    <message>
        <source>导入导航数据</source>
        <translation>Import Navigation Data</translation>
    </message>
    <message>
        <source>数据来源</source>
        <translation>Data Source</translation>
    </message>
    <message>
        <source>模拟器：</source>
        <translation>Simulator:</translation>
    </message>
    <message>
        <source>X-Plane 安装目录：</source>
        <translation>X-Plane folder:</translation>
    </message>
    <message>
        <source>数据库文件：</source>
        <translation>Database file:</translation>
    </message>
    <message>
        <source>附加数据（可选）</source>
        <translation>Additional Data (Optional)</translation>
    </message>
    <message>
        <source>航路规划数据目录：</source>
        <translation>Route-finder data folder:</translation>
    </message>
    <message>
        <source>Navigraph 管制频率目录：</source>
        <translation>Navigraph ATC frequency folder:</translation>
    </message>
    <message>
        <source>OpenAir 空域目录：</source>
        <translation>OpenAir airspace folder:</translation>
    </message>
    <message>
        <source>OpenAIP 空域目录：</source>
        <translation>OpenAIP airspace folder:</translation>
    </message>
    <message>
        <source>导入进度</source>
        <translation>Import Progress</translation>
    </message>
    <message>
        <source>开始导入</source>
        <translation>Start Import</translation>
    </message>
    <message>
        <source>取消导入</source>
        <translation>Cancel Import</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>浏览…</source>
        <translation>Browse…</translation>
    </message>
    <message>
        <source>等待</source>
        <translation>Waiting</translation>
    </message>
    <message>
        <source>进行中</source>
        <translation>Running</translation>
    </message>
    <message>
        <source>请选择有效的 X-Plane 安装目录。</source>
        <translation>Please choose a valid X-Plane folder.</translation>
    </message>
    <message>
        <source>正在导入，完成前原有数据库保持不变…</source>
        <translation>Importing; the current database stays unchanged until done…</translation>
    </message>
    <message>
        <source>正在取消…</source>
        <translation>Cancelling…</translation>
    </message>
    <message>
        <source>完成</source>
        <translation>Done</translation>
    </message>
    <message>
        <source>导入完成：%1</source>
        <translation>Import finished: %1</translation>
    </message>
    <message>
        <source>%1：%2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>已取消</source>
        <translation>Cancelled</translation>
    </message>
    <message>
        <source>失败</source>
        <translation>Failed</translation>
    </message>
    <message>
        <source>导入已取消，原有数据库保持不变。</source>
        <translation>Import cancelled; the previous database is unchanged.</translation>
    </message>
    <message>
        <source>导入失败，原有数据库保持不变。</source>
        <translation>Import failed; the previous database is unchanged.</translation>
    </message>
    <message>
        <source>创建数据库</source>
        <translation>Create database</translation>
    </message>
    <message>
        <source>导航台</source>
        <translation>Navaids</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoints</translation>
    </message>
    <message>
        <source>航路</source>
        <translation>Airways</translation>
    </message>
    <message>
        <source>机场</source>
        <translation>Airports</translation>
    </message>
    <message>
        <source>离场、进场与进近程序</source>
        <translation>SIDs, STARs and approaches</translation>
    </message>
    <message>
        <source>机场元数据</source>
        <translation>Airport metadata</translation>
    </message>
    <message>
        <source>AIRAC 周期</source>
        <translation>AIRAC cycle</translation>
    </message>
    <message>
        <source>航路规划数据</source>
        <translation>Route-finder data</translation>
    </message>
    <message>
        <source>管制频率</source>
        <translation>ATC frequencies</translation>
    </message>
    <message>
        <source>OpenAir 空域</source>
        <translation>OpenAir airspaces</translation>
    </message>
    <message>
        <source>OpenAIP 空域</source>
        <translation>OpenAIP airspaces</translation>
    </message>
    <message>
        <source>完成数据库</source>
        <translation>Finish database</translation>
    </message>
    <message>
        <source>跑道端</source>
        <translation>Runway ends</translation>
    </message>
    <message>
        <source>通信频率</source>
        <translation>Frequencies</translation>
    </message>
    <message>
        <source>塔台</source>
        <translation>Towers</translation>
    </message>
    <message>
        <source>停机位</source>
        <translation>Parking spots</translation>
    </message>
    <message>
        <source>滑行道节点</source>
        <translation>Taxiway nodes</translation>
    </message>
    <message>
        <source>滑行道段</source>
        <translation>Taxiway segments</translation>
    </message>
    <message>
        <source>航路段</source>
        <translation>Airway segments</translation>
    </message>
    <message>
        <source>程序</source>
        <translation>Procedures</translation>
    </message>
    <message>
        <source>程序航段</source>
        <translation>Procedure legs</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspaces</translation>
    </message>
    <message>
        <source>数据版本信息</source>
        <translation>Data version info</translation>
    </message>
    <message>
        <source>MSFS 2020 软件包目录：</source>
        <translation>MSFS 2020 packages folder:</translation>
    </message>
    <message>
        <source>Packages 目录、UserCfg.opt 所在目录或该文件</source>
        <translation>Packages, UserCfg.opt or its folder</translation>
    </message>
    <message>
        <source>%1 安装目录：</source>
        <translation>%1 folder:</translation>
    </message>
    <message>
        <source>包含 scenery.cfg 的目录</source>
        <translation>Folder holding scenery.cfg</translation>
    </message>
    <message>
        <source>请选择有效的 MSFS 2020 软件包目录或 UserCfg.opt 文件。</source>
        <translation>Please choose a valid MSFS 2020 packages folder or UserCfg.opt file.</translation>
    </message>
    <message>
        <source>请选择有效的 %1 安装目录。</source>
        <translation>Please choose a valid %1 folder.</translation>
    </message>
    <message>
        <source>读取场景文件</source>
        <translation>Read scenery files</translation>
    </message>
    <message>
        <source>写入数据库</source>
        <translation>Write database</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source>设置</source>
        <translation>Settings</translation>
    </message>
    <message>
        <source>启动后自动连接正在运行的模拟器</source>
        <translation>Connect automatically to a running simulator after start-up</translation>
    </message>
    <message>
        <source>X-Plane 安装目录（可选）</source>
        <translation>X-Plane installation folder (optional)</translation>
    </message>
    <message>
        <source>浏览…</source>
        <translation>Browse…</translation>
    </message>
    <message>
        <source>X-Plane</source>
        <translation>X-Plane</translation>
    </message>
    <message>
        <source>主机地址：</source>
        <translation>Host:</translation>
    </message>
    <message>
        <source>端口：</source>
        <translation>Port:</translation>
    </message>
    <message>
        <source>安装目录：</source>
        <translation>Installation folder:</translation>
    </message>
    <message>
        <source>Prepar3D / FSX 桥接程序</source>
        <translation>Prepar3D / FSX bridge</translation>
    </message>
    <message>
        <source>桥接端口：</source>
        <translation>Bridge port:</translation>
    </message>
    <message>
        <source>简体中文</source>
        <translation>Chinese (Simplified)</translation>
    </message>
    <message>
        <source>英语</source>
        <translation>English</translation>
    </message>
    <message>
        <source>界面</source>
        <translation>Interface</translation>
    </message>
    <message>
        <source>语言：</source>
        <translation>Language:</translation>
    </message>
    <message>
        <source>保存</source>
        <translation>Save</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>无法写入设置文件：%1</source>
        <translation>The settings file cannot be written: %1</translation>
    </message>
    <message>
        <source>选择 X-Plane 安装目录</source>
        <translation>Choose the X-Plane installation folder</translation>
    </message>
    <message>
        <source>随连接的模拟器自动切换导航数据</source>
        <translation>Switch navigation data with the connected simulator</translation>
    </message>
    <message>
        <source>导航数据</source>
        <translation>Navigation data</translation>
    </message>
    <message>
        <source>默认数据源：</source>
        <translation>Default source:</translation>
    </message>
    <message>
        <source>连接设置在下一次连接模拟器时生效；导航数据设置保存后立即生效；语言在重新启动 Zobrel 后生效。</source>
        <translation>Connection settings apply at the next connection to a simulator; navigation data settings apply as soon as they are saved; the language applies after Zobrel is restarted.</translation>
    </message>
</context>
<context>
    <name>SimStatusWidget</name>
    <message>
        <source>模拟器：%1</source>
        <translation>Simulator: %1</translation>
    </message>
    <message>
        <source>未连接</source>
        <translation>Not connected</translation>
    </message>
    <message>
        <source>正在连接…</source>
        <translation>Connecting…</translation>
    </message>
    <message>
        <source>已连接</source>
        <translation>Connected</translation>
    </message>
    <message>
        <source>无</source>
        <translation>none</translation>
    </message>
</context>
<context>
    <name>SimulatorMenu</name>
    <message>
        <source>模拟器</source>
        <translation>Simulator</translation>
    </message>
    <message>
        <source>连接 %1</source>
        <translation>Connect %1</translation>
    </message>
    <message>
        <source>断开连接</source>
        <translation>Disconnect</translation>
    </message>
</context>
</TS>
